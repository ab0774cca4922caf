#include "NimbeShell/ListenCommand.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <ostream>

#include "Foundation/Text.h"
#include "NimbeEngine/Speech/AppleSpeechEngine.h"
#include "NimbeShell/Transcript.h"

namespace nimbe {
namespace {

constexpr const char* verb = "nimbe listen";

/// The line on the terminal while somebody speaks: a level, and the end of the text.
class LiveLine {
public:
    LiveLine(DictationEngine& engine, std::ostream& output, int columns)
        : engine(engine), output(output), columns(columns) {
        if (columns < 20) return;
        const auto redraw = [this](const auto&) {
            draw();
        };
        text = engine._liveTranscript.observe(redraw);
        level = engine._levels.observe(redraw);
        progress = engine._prepProgress.observe(redraw);
    }
    ~LiveLine() {
        if (!drawn.empty()) output << "\r\x1B[K" << std::flush;
    }
    LiveLine(const LiveLine&) = delete;
    LiveLine& operator=(const LiveLine&) = delete;

private:
    DictationEngine& engine;
    std::ostream& output;
    int columns;
    std::string drawn;
    Token text, level, progress;

    void draw() {
        if (!engine._isRunning.get()) return;
        // Levels come twenty times a second, mostly the same.
        auto next = line();
        if (next == drawn) return;
        drawn = std::move(next);
        output << "\r" << drawn << "\x1B[K" << std::flush;
    }

    [[nodiscard]] std::string line() const {
        if (const auto part = engine._prepProgress.get())
            return "Downloading the speech model: " +
                   std::to_string(static_cast<int>(*part * 100)) + " %";
        constexpr std::array bars{"▁", "▂", "▃", "▄", "▅", "▆", "▇", "█"};
        const auto& levels = engine._levels.get();
        const double now = levels.empty() ? 0 : levels.back();
        const auto height = static_cast<std::size_t>(std::lround(now * (bars.size() - 1)));
        const auto& spoken = engine._liveTranscript.get();
        const auto room = static_cast<std::size_t>(columns) - 4;
        const auto words = spoken.empty() ? "Listening. Enter ends." : text::ending(spoken, room);
        return std::string(bars.at(std::min(height, bars.size() - 1))) + " " + words;
    }
};

/// Ends the dictation when the user does, or when the microphone went away; what was
/// said waits for a recogniser that is still being made ready.
Task<void> listen(DictationEngine& engine, Completion<bool> ended, Completion<bool> ready,
    std::string& transcript, bool& isWhole) {
    auto starting = engine.start(std::string(AppleSpeechEngine::defaultLocaleID));
    co_await starting;
    if (!engine._isRunning.get()) co_return;
    co_await ended;
    co_await ready;
    auto stopping = engine.stop();
    transcript = co_await stopping;
    isWhole = engine.hasFinished();
}

Task<void> ask(AudioInput& input, bool& answers) {
    auto asking = input.devices();
    const auto devices = co_await asking;
    answers = devices.has_value();
}

/// A microphone may only seem to be missing.
std::string reason(const std::string& problem, const ListenServices& services) {
    using Error = MacAudioInputError;
    constexpr std::array missing{Error::inputAudioUnitUnavailable, Error::defaultInputUnavailable,
        Error::selectedInputUnavailable};
    const bool isMissing = std::any_of(
        missing.begin(), missing.end(), [&](Error error) { return message(error) == problem; });
    bool answers = true;
    if (isMissing) services.loop.runUntilDone(ask(services.input, answers));
    if (!answers) return "The sound server does not answer.";
    const bool isChosen = problem == message(Error::selectedInputUnavailable);
    return isChosen ? problem + " On the command line: nimbe devices --use ID" : problem;
}

} // namespace

int runListen(const ListenOptions& options, const ListenServices& services, ShellServices& shell,
    Streams streams) {
    auto& engine = services.engine;
    Transcript transcript;
    bool isWhole = true;
    const Completion<bool> ended(services.loop);
    const Completion<bool> ready(services.loop);
    const auto end = [ended] {
        ended.complete(true);
    };
    const auto endOfInput = [&engine, end] {
        // Nothing was said while a model is still being downloaded.
        if (engine._prepProgress.get()) engine.cancel();
        end();
    };
    services.whenReady([ready] { ready.complete(true); });
    {
        const LiveLine line(engine, streams.error, services.columns);
        const auto input = services.onEndOfInput(endOfInput);
        const auto problem = engine._errorMessage.observe([&](const auto& message) {
            if (message) end();
        });
        services.loop.runUntilDone(listen(engine, ended, ready, transcript.raw, isWhole));
    }
    // What was said before the problem is written all the same.
    const auto& problem = engine._errorMessage.get();
    if (problem) streams.error << verb << ": " << reason(*problem, services) << "\n";
    if (!isWhole)
        streams.error << verb
                      << ": The recogniser did not finish in time. The end of the text may "
                         "be missing.\n";
    bool isDone = !problem && isWhole;
    transcript.utterances = engine.finalResults();
    if (!transcript.utterances.empty()) transcript.duration = transcript.utterances.back().end;
    const auto finished = transcript.finished();
    if (options.isSaved && finished)
        isDone = saveTranscript(*finished, options.mode, shell, verb, streams.error) && isDone;
    if (options.isJson)
        streams.output << Json(transcript.json()).text() << "\n";
    else if (options.isRaw && !transcript.raw.empty())
        streams.output << transcript.raw << "\n";
    else if (finished)
        streams.output << *finished << "\n";
    else if (!problem)
        streams.error << verb << ": Nothing was heard.\n";
    streams.output.flush();
    if (!streams.output) streams.error << verb << ": The output cannot be written.\n";
    return isDone && streams.output ? ExitCode::success : ExitCode::failure;
}

} // namespace nimbe
