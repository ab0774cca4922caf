#include "NimbeShell/TranscribeCommand.h"

#include <cstdio>
#include <optional>
#include <ostream>

#include "Foundation/Text.h"
#include "NimbeEngine/Speech/FileTranscriber.h"
#include "NimbeShell/Transcript.h"

namespace nimbe {
namespace {

constexpr const char* verb = "nimbe transcribe";

std::string clockTime(Seconds seconds) {
    const auto whole = static_cast<long>(seconds);
    std::string text(32, '\0');
    const int length = whole >= 3600 ? std::snprintf(text.data(), text.size(), "%ld:%02ld:%02ld",
                                           whole / 3600, whole / 60 % 60, whole % 60)
                                     : std::snprintf(text.data(), text.size(), "%ld:%02ld",
                                           whole / 60, whole % 60);
    text.resize(static_cast<std::size_t>(length));
    return text;
}

class TranscribeCommand {
public:
    TranscribeCommand(const TranscribeOptions& options, const TranscribeServices& services,
        ShellServices& shell, Streams streams)
        : options(options), services(services), shell(shell), streams(streams) {}

    [[nodiscard]] int run() {
        if (!loadModel()) return ExitCode::failure;
        bool isDone = true;
        for (const auto& file : options.files) isDone = transcribe(file) && isDone;
        streams.output.flush();
        if (!streams.output) isDone = fail("The output cannot be written.");
        return isDone ? ExitCode::success : ExitCode::failure;
    }

private:
    const TranscribeOptions& options;
    const TranscribeServices& services;
    ShellServices& shell;
    Streams streams;
    SpeechRuntime::Recognizer recognizer;
    bool hasWritten = false;

    bool fail(const std::string& message) {
        streams.error << verb << ": " << message << "\n";
        return false;
    }

    bool loadModel() {
        const auto* model = SpeechModel::named(
            options.model.empty() ? SpeechModel::defaultID : std::string_view(options.model));
        if (!model) return fail("There is no speech model \"" + options.model + "\".");
        const auto place = services.models.installed(*model);
        if (!place)
            return fail(
                "The speech model is not installed. Install it with: nimbe models install " +
                std::string(model->id));
        auto loaded = services.runtime.load(place->folder);
        if (!loaded) return fail(loaded.error().message());
        recognizer = std::move(*loaded);
        return true;
    }

    bool transcribe(const std::string& path) {
        const auto file = services.files.open(path);
        if (!file) return fail(path + ": " + file.error().message());
        const auto transcript = hear(**file, path);
        if (transcript.error) fail(path + ": " + transcript.error->message());
        const Transcript result{transcript.text, transcript.utterances, transcript.duration};
        bool isDone = !transcript.error;
        if (options.isSaved)
            if (const auto text = result.finished())
                isDone = saveTranscript(*text, options.mode, shell, verb, streams.error) && isDone;
        write(path, result);
        return isDone;
    }

    FileTranscriber::Transcript hear(AudioFile& file, const std::string& path) {
        constexpr std::size_t longestName = 20;
        const auto name = std::filesystem::path(path).filename().string();
        ProgressBar bar(
            streams.error, text::onOneLine(name, longestName), services.progress, services.columns);
        const double rate = file.format().sampleRate;
        const auto frames = file.frames();
        const Seconds length = frames ? static_cast<Seconds>(*frames) / rate : 0;
        FileTranscriber transcriber(services.converters, recognizer);
        return transcriber.transcribe(file, [&](Seconds done) {
            if (length > 0) bar.show(done / length, clockTime(done) + " of " + clockTime(length));
        });
    }

    void write(const std::string& path, const Transcript& transcript) {
        if (options.isJson) {
            auto object = transcript.json();
            object.insert(object.begin(), {"file", Json(path)});
            streams.output << Json(std::move(object)).text() << "\n" << std::flush;
            return;
        }
        const auto text =
            options.isRaw && !transcript.raw.empty() ? transcript.raw : transcript.finished();
        if (!text) {
            streams.error << verb << ": " << path << ": There is no speech in it.\n";
            return;
        }
        // Between the texts of several recordings a blank line.
        if (hasWritten) streams.output << "\n";
        hasWritten = true;
        streams.output << *text << "\n" << std::flush;
    }
};

} // namespace

int runTranscribe(const TranscribeOptions& options, const TranscribeServices& services,
    ShellServices& shell, Streams streams) {
    return TranscribeCommand(options, services, shell, streams).run();
}

} // namespace nimbe
