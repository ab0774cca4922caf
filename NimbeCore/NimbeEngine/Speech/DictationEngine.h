#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Foundation/Log.h"
#include "Foundation/Published.h"
#include "Foundation/Task.h"
#include "NimbeEngine/Audio/AudioCapture.h"
#include "NimbeEngine/Speech/SpeechAssets.h"
#include "NimbeEngine/Speech/TranscriptionEngine.h"

namespace nimbe {

/// One dictation at a time, from microphone to transcript. Main thread; outlives the
/// tasks of its start() and stop().
class DictationEngine {
public:
    DictationEngine(MainActor& actor, AudioCapture& capture, TranscriptionEngine& engine,
        SpeechAssets& assets, LogSink& sink);
    DictationEngine(const DictationEngine&) = delete;
    DictationEngine& operator=(const DictationEngine&) = delete;
    ~DictationEngine();

    Published<std::string> _liveTranscript; // what is final and the newest guess after it
    Published<bool> _isRunning;
    Published<std::optional<std::string>> _errorMessage; // for the user; of this session
    Published<std::optional<double>> _prepProgress;      // of a model's download, 0 to 1
    Published<std::vector<double>> _levels;              // of the last seconds, oldest first

    /// Begins a session, after a download when the model needs one. When that fails
    /// _errorMessage says why. Does nothing while a session runs. A microphone that
    /// goes away during the session sets _errorMessage; the session then waits for its
    /// stop, with all that was said.
    [[nodiscard]] Task<void> start(std::string localeID);

    /// Ends the session; what was said. Takes at most two seconds more than the
    /// microphone takes to close. Empty when none runs; a start that has not come to
    /// its end is given up.
    [[nodiscard]] Task<std::string> stop();

    /// Ahead of stop(), for who has to wait before that: nothing said from here on is
    /// heard. Does nothing unless a session runs that has started.
    [[nodiscard]] Task<void> closeMicrophone();

    /// Ends the session and forgets what was said.
    void cancel();

    /// False: the last session's text may lack its end, since the recogniser took longer
    /// than a stop waits.
    [[nodiscard]] bool hasFinished() const { return resultsFinished; }

    /// When the last stop's steps were done, on the monotonic clock.
    struct StopTimes {
        Seconds called = 0;
        Seconds drained = 0; // the microphone is closed, all sound handed over
        Seconds ended = 0;   // the text is there
    };
    [[nodiscard]] const StopTimes& stopTimes() const { return times; }
    /// When the session's first sound came; absent while none has.
    [[nodiscard]] std::optional<Seconds> firstSoundAt() const;

    /// The session's, or the last one's, with their times.
    [[nodiscard]] const std::vector<TranscriptionResult>& finalResults() const { return finals; }

private:
    MainActor& actor;
    AudioCapture& capture;
    TranscriptionEngine& engine;
    SpeechAssets& assets;
    Log log;

    // Starting and stopping are tasks of the engine's own: whoever waits for them may
    // be gone before their end.
    TaskHandle startingTask;
    std::optional<Completion<bool>> startEnded; // while a start is under way
    int startCount = 0;                         // a later start makes this one stale
    bool isMicrophoneClosed = false;
    TaskHandle stoppingTask;
    std::optional<Completion<std::string>> stopEnded; // while a stop is under way
    TaskHandle resultsTask;
    std::optional<Completion<bool>> resultsEnded;
    bool resultsFinished = false;
    TaskHandle levelTask;
    StopTimes times;
    std::string finalizedText;
    std::vector<TranscriptionResult> finals;
    std::optional<std::string> activeLocaleID;

    [[nodiscard]] Task<void> begin(std::string localeID, int number);
    [[nodiscard]] Task<Result<void, std::string>> open(std::string localeID, int number);
    [[nodiscard]] bool isStarting(int number) const { return startEnded && startCount == number; }
    [[nodiscard]] Task<void> finish();
    [[nodiscard]] Task<Result<void, std::string>> prepare(std::string localeID);
    [[nodiscard]] Task<Result<void, std::string>> download(std::string locale);
    [[nodiscard]] Task<void> takeResults(TranscriptionResults results);
    [[nodiscard]] Task<void> publishLevels();
    void take(const TranscriptionResult& result, long number);
    void captureEnded(const CaptureFailure& failure);
    void giveUp();
    void end();
};

} // namespace nimbe
