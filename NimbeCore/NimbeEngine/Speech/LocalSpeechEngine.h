#pragma once

#include <atomic>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>

#include "Foundation/Log.h"
#include "NimbeEngine/Audio/SampleQueue.h"
#include "NimbeEngine/Speech/SpeechRuntime.h"
#include "NimbeEngine/Speech/TranscriptionEngine.h"
#include "NimbeEngine/Speech/UtteranceRecognizer.h"

namespace nimbe {

/// Recognises on one thread of its own, with a model that stays loaded. Sound that
/// comes before the model is ready waits, up to a minute of it.
class LocalSpeechEngine final : public TranscriptionEngine, private AudioSink {
public:
    /// Where the model is at that time; absent: nowhere. Main thread.
    using FindModel = std::function<std::optional<std::filesystem::path>()>;

    LocalSpeechEngine(MainActor& actor, SpeechRuntime& runtime, FindModel findModel, LogSink& sink);
    LocalSpeechEngine(const LocalSpeechEngine&) = delete;
    LocalSpeechEngine& operator=(const LocalSpeechEngine&) = delete;
    /// Waits for a model that is being loaded.
    ~LocalSpeechEngine() override;

    /// Loads the model in the background, so that the first session does not wait.
    /// `onDone`: it is loaded, or cannot be.
    void preload(std::function<void()> onDone = {});

    [[nodiscard]] std::optional<AudioFormat> bestAvailableAudioFormat(
        std::string_view localeID) override;
    [[nodiscard]] Result<TranscriptionResults, DictationError> start(
        std::string_view localeID, AudioFormat format) override;
    [[nodiscard]] AudioSink& input() override { return *this; }
    [[nodiscard]] std::optional<std::string> activeLocaleID() const override { return locale; }
    void finish() override;
    void cancel() override;

private:
    struct Session {
        Session(TranscriptionResults results, std::filesystem::path model);

        TranscriptionResults results;
        std::filesystem::path model;
        SampleQueue queue;
        std::atomic<std::size_t> lost = 0; // samples that the queue had no room for
        std::atomic<bool> hasEnded = false;
        std::atomic<bool> isCancelled = false;
    };

    MainActor& actor;
    SpeechRuntime& runtime;
    FindModel findModel;
    Log log;
    std::optional<std::string> locale;
    std::shared_ptr<Session> session;        // the newest
    std::atomic<Session*> hearing = nullptr; // the same, for the capture's thread

    // What the worker is to do next.
    std::mutex mutex;
    std::shared_ptr<Session> waiting;
    struct Preload {
        std::optional<std::filesystem::path> model = {};
        std::function<void()> onDone = {};
    };
    std::optional<Preload> toPreload;
    bool isQuitting = false;
    std::atomic<unsigned> news = 0; // changes with everything that the worker may wait for

    // The decode that runs, for whoever ends it.
    std::mutex runningMutex;
    UtteranceRecognizer* runningRecognizer = nullptr;
    SpeechDecoder* runningDecoder = nullptr;

    // The worker's own.
    std::filesystem::path loadedFrom;
    SpeechRuntime::Recognizer loaded;
    std::thread worker;

    void yield(CapturedAudio audio) noexcept override;
    void tell();
    void interrupt(bool onlyAhead);
    void work();
    [[nodiscard]] std::optional<std::string> load(const std::filesystem::path& model);
    void recognize(const std::shared_ptr<Session>& current);
    void listen(Session& current, UtteranceRecognizer& recognizer);
};

} // namespace nimbe
