#include <atomic>
#include <thread>

#include <gtest/gtest.h>

#include "Fakes/FakeAudioConverters.h"
#include "Fakes/FakeLogSink.h"
#include "Fakes/FakeSpeechAssets.h"
#include "Fakes/FakeSpeechRuntime.h"
#include "Fakes/MemoryUserDefaults.h"
#include "Foundation/RunLoop.h"
#include "Foundation/TaskScope.h"
#include "NimbeEngine/Speech/AppleSpeechEngine.h"
#include "NimbeEngine/Speech/DictationEngine.h"
#include "NimbeEngine/Speech/LocalSpeechEngine.h"

namespace nimbe {
namespace {

/// A microphone with a thread of its own. It says what it has to say, some of it only
/// when it is stopped, and is silent until then.
class TalkingInput final : public AudioInput {
public:
    /// In seconds: speech and silence by turns.
    std::vector<double> turns;
    double lastWord = 0; // said while stopping

    Task<Result<std::vector<MicrophoneDevice>, MacAudioInputError>> devices() override {
        co_return std::vector<MicrophoneDevice>();
    }
    Token observeDevices(std::function<void()> /*onChange*/) override { return {}; }
    std::unique_ptr<AudioEngine> makeAudioEngine() override {
        return std::make_unique<Engine>(*this);
    }

private:
    class Engine final : public AudioEngine {
    public:
        explicit Engine(TalkingInput& input) : input(input) {}
        ~Engine() override { end(); }
        Task<Result<AudioFormat, MacAudioInputError>> inputFormat(
            MicrophoneCaptureSelection /*selection*/) override {
            co_return AudioFormat{16000, 2};
        }
        Task<Result<void, MacAudioInputError>> start(AudioTap& heard, std::size_t /*bufferFrames*/,
            std::function<void(MacAudioInputError)> /*onEnded*/) override {
            tap = &heard;
            thread = std::thread([this] { talk(); });
            co_return Result<void, MacAudioInputError>();
        }
        Task<void> stop() override {
            isSpeaking = true;
            end();
            co_return;
        }

    private:
        TalkingInput& input;
        AudioTap* tap = nullptr;
        std::atomic<bool> isEnding = false;
        bool isSpeaking = false; // the last word is to be said
        std::thread thread;

        void say(double seconds, float level) {
            const std::vector<float> piece(640, level); // 20 ms of two channels
            for (double said = 0; said < seconds; said += 0.02) tap->hear(piece);
        }
        void talk() {
            float level = 1;
            for (const double seconds : input.turns) {
                say(seconds, level);
                level = 1 - level;
            }
            while (!isEnding) std::this_thread::yield();
        }
        void end() {
            isEnding = true;
            if (!thread.joinable()) return;
            thread.join();
            if (isSpeaking) say(input.lastWord, 1);
        }
    };
};

Task<bool> dictate(DictationEngine& engine, std::string& text) {
    auto starting = engine.start("en-US");
    co_await starting;
    auto stopping = engine.stop();
    text = co_await stopping;
    co_return true;
}

Task<void> dictateInTime(RunLoop& loop, DictationEngine& engine, std::string& text) {
    auto limited = withDeadline(loop, 20, dictate(engine, text));
    const auto isDone = co_await limited;
    EXPECT_TRUE(isDone) << "it hangs";
}

} // namespace

TEST(LiveSession, everyWordFromTheFirstToTheLastIsThere) {
    RunLoop loop;
    TalkingInput input;
    FakeAudioConverters converters;
    MemoryUserDefaults defaults;
    FakeLogSink log;
    FakeSpeechAssets assets;
    FakeSpeechRuntime runtime;
    AudioCapture capture(input, converters, defaults, log);
    LocalSpeechEngine recogniser(
        loop, runtime, [] { return "/model"; }, log);
    AppleSpeechEngine speech(recogniser, assets, log);
    DictationEngine engine(loop, capture, speech, assets, log);
    struct Case {
        const char* why;
        std::vector<double> turns;
        double lastWord;
        const char* expected;
    };
    const Case cases[] = {
        {"from the first sample on", {1}, 0, "w1 w2"},
        {"an utterance, and one that the stop ends", {2, 2}, 1, "w1 w2 w3 w4 w5 w1 w2 w3"},
        {"the last word while stopping", {}, 0.5, "w1"},
        {"nothing", {0, 3}, 0, ""},
    };
    for (int round = 0; round < 5; ++round)
        for (const auto& c : cases) {
            input.turns = c.turns;
            input.lastWord = c.lastWord;
            std::string text;
            loop.runUntilDone(dictateInTime(loop, engine, text));
            EXPECT_EQ(text, c.expected) << c.why;
            EXPECT_EQ(engine._errorMessage.get(), std::nullopt) << c.why;
        }
}

} // namespace nimbe
