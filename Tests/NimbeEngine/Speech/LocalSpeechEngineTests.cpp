#include <chrono>
#include <thread>

#include <gtest/gtest.h>

#include "Fakes/FakeLogSink.h"
#include "Fakes/FakeSpeechRuntime.h"
#include "Foundation/RunLoop.h"
#include "Foundation/TaskScope.h"
#include "NimbeEngine/Speech/LocalSpeechEngine.h"

namespace nimbe {
namespace {

constexpr AudioFormat format{16000, 1};

struct Outcome {
    std::string text = {};
    std::string lastVolatile = {};
    std::string error = {};
    bool hasEnded = false;
};

Task<bool> take(TranscriptionResults results, Outcome& outcome) {
    for (;;) {
        auto waiting = results.next();
        const auto next = co_await waiting;
        if (!next) break;
        if (!*next)
            outcome.error = next->error();
        else if ((*next)->isFinal)
            outcome.text += (*next)->text;
        else
            outcome.lastVolatile = outcome.text + (*next)->text;
    }
    outcome.hasEnded = true;
    co_return true;
}

Task<void> takeAll(RunLoop& loop, TranscriptionResults results, Outcome& outcome) {
    auto limited = withDeadline(loop, 20, take(std::move(results), outcome));
    const auto isDone = co_await limited;
    EXPECT_TRUE(isDone) << "the results did not end";
}

struct LocalSpeechEngineTest : testing::Test {
    RunLoop loop;
    FakeSpeechRuntime runtime;
    FakeLogSink log;
    std::optional<std::filesystem::path> model = "/models/base";
    std::optional<LocalSpeechEngine> engine;

    LocalSpeechEngineTest() {
        engine.emplace(
            loop, runtime, [this] { return model; }, log);
    }

    TranscriptionResults start() {
        auto results = engine->start("en-US", format);
        EXPECT_TRUE(results);
        return *results;
    }
    /// In pieces of 20 ms, from a thread of its own like a microphone's.
    void say(double seconds, float level) {
        std::thread([&] {
            PCMBuffer buffer(format, 320);
            buffer.frameLength = 320;
            std::fill(buffer.samples.begin(), buffer.samples.end(), level);
            for (double said = 0; said < seconds; said += 0.02) engine->input().yield({buffer});
        }).join();
    }
    void waitForDecode(int count) {
        while (runtime.begun < count) std::this_thread::yield();
    }
    /// Until the results end.
    Outcome outcome(TranscriptionResults results) {
        Outcome outcome;
        loop.runUntilDone(takeAll(loop, std::move(results), outcome));
        return outcome;
    }
};

} // namespace

TEST_F(LocalSpeechEngineTest, oneDictationAfterTheOther) {
    for (int i = 0; i < 3; ++i) {
        const auto results = start();
        say(2, 1);
        say(2, 0);
        say(1, 1);
        engine->finish();
        EXPECT_EQ(outcome(results).text, "w1 w2 w3 w4 w5 w1 w2 w3") << i;
    }
    EXPECT_EQ(runtime.loads, 1);
    EXPECT_TRUE(log.has(LogLevel::info, "asr: model loaded in"));
}

TEST_F(LocalSpeechEngineTest, noSoundOrNoSpeechEndsWithNothing) {
    for (const double seconds : {0.0, 0.01, 5.0}) {
        const auto results = start();
        say(seconds, 0);
        engine->finish();
        const auto ended = outcome(results);
        EXPECT_EQ(ended.text + ended.lastVolatile + ended.error, "") << seconds;
    }
}

TEST_F(LocalSpeechEngineTest, aModelThatCannotBeUsedEndsTheSession) {
    runtime.error = SpeechModelError{SpeechModelError::Kind::damaged, "bad bytes"};
    const auto results = start();
    say(1, 1);
    EXPECT_EQ(outcome(results).error, runtime.error->message());
    EXPECT_TRUE(log.has(LogLevel::error, "bad bytes"));

    // It is tried again: somebody may have mended it.
    runtime.error.reset();
    const auto next = start();
    say(1, 1);
    engine->finish();
    EXPECT_EQ(outcome(next).text, "w1 w2");
}

TEST_F(LocalSpeechEngineTest, whatCannotBegin) {
    using Kind = DictationError::Kind;
    EXPECT_EQ(engine->start("en-US", {48000, 1}).error().kind, Kind::noCompatibleAudioFormat);
    EXPECT_EQ(engine->start("en-US", {16000, 2}).error().kind, Kind::noCompatibleAudioFormat);
    model.reset();
    EXPECT_EQ(engine->start("en-US", format).error().kind, Kind::modelUnavailable);
}

TEST_F(LocalSpeechEngineTest, cancelEndsTheResultsAtOnceAlsoDuringADecode) {
    runtime.isHanging = true;
    const auto results = start();
    say(2, 1);
    waitForDecode(1);
    engine->cancel();
    EXPECT_EQ(outcome(results).text, "");
    EXPECT_EQ(engine->activeLocaleID(), std::nullopt);
    runtime.isHanging = false;
    const auto next = start();
    say(1, 1);
    engine->finish();
    EXPECT_EQ(outcome(next).text, "w1 w2") << "the next session";
}

TEST_F(LocalSpeechEngineTest, aNewSessionEndsTheOneThatRuns) {
    const auto first = start();
    say(2, 1);
    const auto second = start();
    say(1, 1);
    engine->finish();
    (void)outcome(first);
    EXPECT_EQ(outcome(second).text, "w1 w2");
}

TEST_F(LocalSpeechEngineTest, aMinuteOfSoundWaitsForTheModel) {
    for (const double seconds : {59.5, 60.5}) {
        log.lines.clear();
        runtime.isLoading = true;
        model->replace_filename(std::to_string(seconds));
        const auto results = start();
        say(seconds, 1);
        runtime.isLoading = false;
        engine->finish();
        const auto ended = outcome(results);
        EXPECT_FALSE(ended.text.empty());
        EXPECT_EQ(ended.error.empty(), seconds < 60) << "lost words are told";
        EXPECT_EQ(log.has(LogLevel::warning, "asr: 8000 samples came faster"), seconds > 60)
            << log.all();
    }
}

TEST_F(LocalSpeechEngineTest, theEndOfTheEngineWaitsForNoDecode) {
    runtime.isHanging = true;
    const auto results = start();
    say(2, 1);
    waitForDecode(1);
    engine->finish();
    waitForDecode(2); // the final one
    engine.reset();
    EXPECT_EQ(runtime.begun, 2) << "it was begun anew";
    EXPECT_TRUE(outcome(results).hasEnded);
}

TEST_F(LocalSpeechEngineTest, preloadingLoadsOnce) {
    int told = 0;
    engine->preload([&] { ++told; });
    const auto results = start();
    engine->finish();
    (void)outcome(results);
    EXPECT_EQ(runtime.loads, 1);
    EXPECT_EQ(told, 1);
    model = "/models/tiny";
    const auto next = start();
    engine->finish();
    (void)outcome(next);
    EXPECT_EQ(runtime.loads, 2) << "another model";
}

} // namespace nimbe
