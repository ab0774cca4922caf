#include "NimbeShell/TranscribeCommand.h"

#include <algorithm>
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

/// A name may hold what a terminal would obey.
std::string shown(const std::string& path) {
    const bool isPlain = std::none_of(
        path.begin(), path.end(), [](char c) { return (c >= 0 && c < ' ') || c == '\x7F'; });
    return isPlain ? path : text::onOneLine(path, path.size());
}

class TranscribeCommand {
public:
    TranscribeCommand(const TranscribeOptions& options, const TranscribeServices& services,
        ShellServices& shell, Streams streams)
        : options(options), services(services), shell(shell), streams(streams) {}

    [[nodiscard]] int run() {
        bool isDone = true;
        for (const auto& path : options.files) {
            if (services.isInterrupted()) break;
            const auto file = services.files.open(path);
            if (!file) {
                isDone = refuse(path, file.error().message());
                continue;
            }
            // Not before there is a recording to hear.
            if (!recognizer.decoder && !loadModel()) return ExitCode::failure;
            isDone = transcribe(path, **file) && isDone;
        }
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
                "The speech model is not installed, or not whole. Install it with: nimbe models "
                "install " +
                std::string(model->id) + " --from ADDRESS");
        auto loaded = services.runtime.load(place->folder);
        if (!loaded) return fail(loaded.error().message());
        recognizer = std::move(*loaded);
        return true;
    }

    bool refuse(const std::string& path, const std::string& message) {
        if (options.isJson) {
            Json::Object object;
            object.push_back({"file", Json(text::mended(path))});
            object.push_back({"error", Json(message)});
            streams.output << Json(std::move(object)).text() << "\n" << std::flush;
        }
        return fail(shown(path) + ": " + message);
    }

    bool transcribe(const std::string& path, AudioFile& file) {
        const auto transcript = hear(file, path);
        if (transcript.error) fail(shown(path) + ": " + transcript.error->message());
        const Transcript result{transcript.text, transcript.utterances, transcript.duration};
        const bool isInterrupted = services.isInterrupted();
        if (isInterrupted)
            fail(shown(path) + ": Interrupted after " + clockTime(transcript.duration) + ".");
        bool isDone = !transcript.error && !isInterrupted;
        if (options.isSaved)
            if (const auto text = result.finished())
                isDone = saveTranscript(*text, options.mode, shell, verb, streams.error) && isDone;
        write(path, result, transcript.error);
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
            return !services.isInterrupted();
        });
    }

    void write(const std::string& path, const Transcript& transcript,
        const std::optional<AudioFileError>& error) {
        if (options.isJson) {
            auto object = transcript.json();
            object.insert(object.begin(), {"file", Json(text::mended(path))});
            if (error) object.push_back({"error", Json(error->message())});
            streams.output << Json(std::move(object)).text() << "\n" << std::flush;
            return;
        }
        const auto text =
            options.isRaw && !transcript.raw.empty() ? transcript.raw : transcript.finished();
        if (!text) {
            streams.error << verb << ": " << shown(path) << ": There is no speech in it.\n";
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
