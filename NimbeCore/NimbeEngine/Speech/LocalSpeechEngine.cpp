#include "NimbeEngine/Speech/LocalSpeechEngine.h"

#include <array>
#include <chrono>
#include <exception>

namespace nimbe {
namespace {

// Of sound at 16 kHz: what may wait while the model is loaded or the machine is busy.
constexpr std::size_t queueSize = std::size_t{60} * 16000;

// What may wait to be decoded besides: a machine that is slower than speech.
constexpr std::size_t mostHeld = std::size_t{900} * 16000;

} // namespace

LocalSpeechEngine::Session::Session(TranscriptionResults results, std::filesystem::path model)
    : results(std::move(results)), model(std::move(model)), queue(queueSize) {}

LocalSpeechEngine::LocalSpeechEngine(
    MainActor& actor, SpeechRuntime& runtime, FindModel findModel, LogSink& sink)
    : actor(actor), runtime(runtime), findModel(std::move(findModel)), log(sink, "speech"),
      worker([this] { work(); }) {}

LocalSpeechEngine::~LocalSpeechEngine() {
    cancel();
    {
        const std::lock_guard lock(mutex);
        isQuitting = true;
    }
    tell();
    worker.join();
}

void LocalSpeechEngine::tell() {
    ++news;
    news.notify_one();
}

void LocalSpeechEngine::preload(std::function<void()> onDone) {
    {
        const std::lock_guard lock(mutex);
        toPreload = Preload{findModel(), std::move(onDone)};
    }
    tell();
}

std::optional<AudioFormat> LocalSpeechEngine::bestAvailableAudioFormat(
    std::string_view /*localeID*/) {
    return AudioFormat{SpeechDecoder::sampleRate, 1};
}

Result<TranscriptionResults, DictationError> LocalSpeechEngine::start(
    std::string_view localeID, AudioFormat format) {
    using Kind = DictationError::Kind;
    if (format != AudioFormat{SpeechDecoder::sampleRate, 1})
        return failure(DictationError{Kind::noCompatibleAudioFormat});
    auto model = findModel();
    if (!model) return failure(DictationError{Kind::modelUnavailable});
    cancel();
    locale = std::string(localeID);
    session = std::make_shared<Session>(TranscriptionResults(actor), std::move(*model));
    hearing = session.get();
    {
        const std::lock_guard lock(mutex);
        waiting = session;
    }
    tell();
    return session->results;
}

void LocalSpeechEngine::yield(CapturedAudio audio) noexcept {
    auto* current = hearing.load();
    if (!current) return;
    const std::span samples(audio.buffer.samples.data(), audio.buffer.frameLength);
    const auto taken = current->queue.push(samples);
    if (taken < samples.size()) current->lost += samples.size() - taken;
    tell();
}

void LocalSpeechEngine::finish() {
    if (!session || session->hasEnded.exchange(true)) return;
    interrupt(true);
    tell();
}

void LocalSpeechEngine::cancel() {
    if (!session) return;
    session->isCancelled = true;
    session->results.finish();
    locale.reset();
    interrupt(false);
    tell();
}

/// A decode whose result is not wanted any more. The other kinds go on.
void LocalSpeechEngine::interrupt(bool onlyAhead) {
    const std::lock_guard lock(runningMutex);
    if (runningRecognizer && (!onlyAhead || runningRecognizer->runsAhead()))
        runningDecoder->interrupt();
}

void LocalSpeechEngine::work() {
    for (;;) {
        const auto seen = news.load();
        std::shared_ptr<Session> next;
        std::optional<Preload> early;
        {
            const std::lock_guard lock(mutex);
            if (isQuitting) return;
            early = std::exchange(toPreload, std::nullopt);
            if (!early) next = std::exchange(waiting, nullptr);
        }
        if (early) {
            if (early->model) (void)load(*early->model);
            if (early->onDone) actor.post(std::move(early->onDone));
        } else if (next) {
            recognize(next);
        } else {
            news.wait(seen);
        }
    }
}

/// A sentence for the user when it cannot be.
std::optional<std::string> LocalSpeechEngine::load(const std::filesystem::path& model) {
    if (loaded.decoder && loadedFrom == model) return std::nullopt;
    loaded = {}; // never two at once: each is some 300 MB
    const auto began = std::chrono::steady_clock::now();
    auto fresh = runtime.load(model);
    if (!fresh) {
        log.error("asr: loading the model failed: %s", fresh.error().detail.c_str());
        return fresh.error().message();
    }
    loaded = std::move(*fresh);
    loadedFrom = model;
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - began;
    log.info("asr: model loaded in %.2f s", took.count());
    return std::nullopt;
}

void LocalSpeechEngine::recognize(const std::shared_ptr<Session>& current) {
    auto problem = load(current->model);
    if (!problem) {
        try {
            UtteranceRecognizer recognizer(*loaded.detector, *loaded.decoder,
                UtteranceRecognizer::Volatile::wanted, [&](TranscriptionResult result) {
                    actor.post([results = current->results, result = std::move(result)] {
                        results.yield(result);
                    });
                });
            listen(*current, recognizer);
        } catch (const std::exception& error) {
            log.error("asr: recognising failed: %s", error.what());
            problem = "The speech could not be recognised to its end.";
        }
    }
    if (current->lost > 0 && !problem)
        problem = "Some of what was said is missing: the machine was too busy.";
    if (current->lost > 0)
        log.warning("asr: %zu samples came faster than they were recognised and are lost",
            current->lost.load());
    actor.post([results = current->results, problem] {
        if (problem) results.yield(failure(*problem));
        results.finish();
    });
}

void LocalSpeechEngine::listen(Session& current, UtteranceRecognizer& recognizer) {
    std::array<float, 4096> buffer{};
    bool isDrained = false;
    const auto pump = [&] {
        // Asked before the queue is emptied: what came until then is in it.
        const bool hasEnded = current.hasEnded;
        isDrained = false;
        while (!isDrained && recognizer.held() < mostHeld) {
            const auto count = current.queue.pop(buffer);
            recognizer.hear(std::span(buffer).first(count));
            isDrained = count == 0;
        }
        if (hasEnded && isDrained) recognizer.finish();
        return !current.isCancelled.load();
    };
    const auto setRunning = [&](UtteranceRecognizer* running) {
        const std::lock_guard lock(runningMutex);
        runningRecognizer = running;
        runningDecoder = loaded.decoder.get();
    };
    setRunning(&recognizer);
    try {
        for (;;) {
            const auto seen = news.load();
            if (!pump() || !recognizer.work(pump) || recognizer.isDone()) break;
            if (isDrained) news.wait(seen);
        }
    } catch (...) {
        setRunning(nullptr);
        throw;
    }
    setRunning(nullptr);
}

} // namespace nimbe
