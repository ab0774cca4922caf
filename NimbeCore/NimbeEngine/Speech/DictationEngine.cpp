#include "NimbeEngine/Speech/DictationEngine.h"

#include "Foundation/TaskScope.h"
#include "Foundation/Text.h"
#include "NimbeEngine/Speech/SpeechModelProbe.h"

namespace nimbe {
namespace {

constexpr Seconds longestPreparation = 60;
constexpr Seconds longestFinish = 2;
constexpr Seconds levelInterval = 0.05;

using Opened = Result<void, std::string>;

Task<bool> ended(Completion<bool> completion) {
    co_return co_await completion;
}

} // namespace

DictationEngine::DictationEngine(MainActor& actor, AudioCapture& capture,
    TranscriptionEngine& engine, SpeechAssets& assets, LogSink& sink)
    : actor(actor), capture(capture), engine(engine), assets(assets), log(sink, "engine") {}

DictationEngine::~DictationEngine() {
    cancel();
}

Task<void> DictationEngine::start(std::string localeID) {
    if (_isRunning.get()) co_return;
    finalizedText.clear();
    finals.clear();
    resultsFinished = false;
    isMicrophoneClosed = false;
    Completion<bool> ending(actor);
    startEnded = ending;
    startingTask = startTask(actor, begin(std::move(localeID), ++startCount));
    _errorMessage.set(std::nullopt);
    _liveTranscript.set({});
    _isRunning.set(true);
    co_await ending;
}

Task<void> DictationEngine::begin(std::string localeID, int number) {
    auto opening = open(std::move(localeID), number);
    const auto opened = co_await opening;
    // An observer may have given it up within this task.
    if (!isStarting(number)) co_return;
    const auto ending = std::exchange(startEnded, std::nullopt);
    if (opened) {
        levelTask = startTask(actor, publishLevels());
    } else {
        log.error("engine.start: failed: %s", opened.error().c_str());
        end();
        _errorMessage.set(opened.error());
    }
    ending->complete(true);
}

Task<Opened> DictationEngine::open(std::string localeID, int number) {
    auto preparing = prepare(localeID);
    const auto prepared = co_await preparing;
    if (isStarting(number)) _prepProgress.set(std::nullopt);
    if (!prepared || !isStarting(number)) co_return prepared;

    const auto format = engine.bestAvailableAudioFormat(localeID);
    if (!format)
        co_return failure(DictationError{DictationError::Kind::noCompatibleAudioFormat}.message());
    // The recogniser takes sound from here on, and loads its model beside it.
    auto results = engine.start(localeID, *format);
    if (!results) co_return failure(results.error().message());
    activeLocaleID = engine.activeLocaleID();
    resultsEnded.emplace(actor);
    resultsTask = startTask(actor, takeResults(std::move(*results)));

    auto capturing = capture.start(
        *format, engine.input(), [this](const CaptureFailure& failure) { captureEnded(failure); });
    const auto captured = co_await capturing;
    if (!captured) co_return failure(std::string(message(captured.error())));
    log.info("engine.start: running, locale=%s inputRate=%f analyzerRate=%f",
        activeLocaleID.value_or("none").c_str(), capture.inputSampleRate, format->sampleRate);
    co_return Opened();
}

Task<Opened> DictationEngine::prepare(std::string localeID) {
    const auto locale = assets.supportedLocale(localeID);
    const auto status = locale ? assets.status(*locale) : SpeechAssets::Status::unsupported;
    const auto readiness = ModelReadiness::of(status);
    if (const auto* unavailable = std::get_if<ModelReadiness::Unavailable>(&readiness))
        co_return failure(std::string(unavailable->message));
    if (std::holds_alternative<ModelReadiness::Proceed>(readiness)) co_return Opened();
    auto downloading = download(*locale);
    const auto done = co_await downloading;
    co_return done;
}

Task<Opened> DictationEngine::download(std::string locale) {
    _prepProgress.set(0.0);
    auto work = assets.downloadAndInstall(locale, [this](double part) { _prepProgress.set(part); });
    auto limited = withDeadline(actor, longestPreparation, std::move(work));
    const auto done = co_await limited;
    if (done) co_return *done;
    co_return failure(DictationError{DictationError::Kind::modelPreparationTimedOut}.message());
}

/// What was said is kept: the recogniser finishes it, and the stop returns it.
void DictationEngine::captureEnded(const CaptureFailure& failure) {
    log.error("engine: the microphone went away");
    engine.finish();
    _errorMessage.set(std::string(message(failure)));
}

Task<void> DictationEngine::takeResults(TranscriptionResults results) {
    log.info("results stream: begin");
    long count = 0;
    for (;;) {
        auto waiting = results.next();
        const auto next = co_await waiting;
        if (!next) {
            log.info("results stream: ENDED after %ld results, locale=%s (analyzer finished input)",
                count, activeLocaleID.value_or("none").c_str());
            break;
        }
        if (!*next) {
            log.error("results stream: ERROR after %ld results: %s", count, next->error().c_str());
            _errorMessage.set(next->error());
            break;
        }
        take(**next, ++count);
    }
    resultsFinished = true;
    resultsEnded->complete(true);
}

void DictationEngine::take(const TranscriptionResult& result, long number) {
    if (!result.isFinal) {
        _liveTranscript.set(finalizedText + result.text);
        return;
    }
    finalizedText += result.text;
    if (!result.text.empty()) finals.push_back(result);
    log.info("results stream: FINAL #%ld len=%zu", number, text::characterCount(result.text));
    _liveTranscript.set(finalizedText);
}

Task<void> DictationEngine::publishLevels() {
    bool isStalled = false;
    for (;;) {
        // A server that hangs tells nothing: the meter falls, and the log says why.
        const bool wasStalled = std::exchange(isStalled, capture.isStalled());
        if (isStalled && !wasStalled) log.warning("engine: the microphone gives no sound");
        _levels.set(isStalled ? std::vector<double>{0} : capture.levelStore.latest());
        co_await sleep(actor, levelInterval);
    }
}

std::optional<Seconds> DictationEngine::firstSoundAt() const {
    const auto nanoseconds = capture.diagnostics.firstTapUptimeNs.load();
    if (nanoseconds == 0) return std::nullopt;
    return static_cast<Seconds>(nanoseconds) * 1e-9;
}

Task<std::string> DictationEngine::stop() {
    log.info("engine.stop: called (wasRunning=%d locale=%s)", _isRunning.get() ? 1 : 0,
        activeLocaleID.value_or("none").c_str());
    if (!_isRunning.get() || stopEnded) co_return {};
    if (startEnded) {
        giveUp();
        co_return {};
    }
    Completion<std::string> ending(actor);
    stopEnded = ending;
    stoppingTask = startTask(actor, finish());
    co_return co_await ending;
}

Task<void> DictationEngine::closeMicrophone() {
    if (!_isRunning.get() || startEnded || std::exchange(isMicrophoneClosed, true)) co_return;
    times.called = actor.now();
    auto closing = capture.stop();
    co_await closing;
    times.drained = actor.now();
}

Task<void> DictationEngine::finish() {
    // The end of the last word is handed over before the recogniser hears that there
    // is no more.
    auto closing = closeMicrophone();
    co_await closing;
    engine.finish();
    auto finishing = withDeadline(actor, longestFinish, ended(*resultsEnded));
    (void)co_await finishing;
    times.ended = actor.now();
    if (!resultsFinished)
        log.error("results stream did not finish after recognizer teardown; using live transcript");
    auto answer = resultsFinished ? finalizedText : _liveTranscript.get();
    const auto ending = std::exchange(stopEnded, std::nullopt);
    end();
    ending->complete(std::move(answer));
}

void DictationEngine::cancel() {
    if (_isRunning.get()) giveUp();
}

/// Whatever is under way; those who wait for it are told.
void DictationEngine::giveUp() {
    startingTask.reset();
    stoppingTask.reset();
    const auto starting = std::exchange(startEnded, std::nullopt);
    const auto stopping = std::exchange(stopEnded, std::nullopt);
    end();
    if (starting) starting->complete(true);
    if (stopping) stopping->complete({});
}

void DictationEngine::end() {
    capture.abandon();
    resultsTask.reset();
    engine.cancel();
    levelTask.reset();
    activeLocaleID.reset();
    _prepProgress.set(std::nullopt);
    _levels.set({});
    _isRunning.set(false);
}

} // namespace nimbe
