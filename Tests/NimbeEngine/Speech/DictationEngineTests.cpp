#include <gtest/gtest.h>

#include "Fakes/FakeAudioConverters.h"
#include "Fakes/FakeAudioInput.h"
#include "Fakes/FakeLogSink.h"
#include "Fakes/FakeSpeechAssets.h"
#include "Fakes/FakeTranscriptionEngine.h"
#include "Fakes/ManualMainActor.h"
#include "Fakes/MemoryUserDefaults.h"
#include "NimbeEngine/Speech/AppleSpeechEngine.h"
#include "NimbeEngine/Speech/DictationEngine.h"

namespace nimbe {
namespace {

using Status = SpeechAssets::Status;
using Step = FakeAudioInput::Step;

Task<void> start(DictationEngine& engine, std::string locale, bool& hasEnded) {
    auto starting = engine.start(std::move(locale));
    co_await starting;
    hasEnded = true;
}

Task<void> stop(DictationEngine& engine, std::optional<std::string>& answer) {
    auto stopping = engine.stop();
    answer = co_await stopping;
}

struct DictationEngineTest : testing::Test {
    ManualMainActor actor;
    FakeAudioInput input;
    FakeAudioConverters converters;
    MemoryUserDefaults defaults;
    FakeLogSink log;
    FakeSpeechAssets assets;
    FakeTranscriptionEngine recogniser{actor};
    AppleSpeechEngine speech{recogniser, assets, log};
    AudioCapture capture{input, converters, defaults, log};
    DictationEngine engine{actor, capture, speech, assets, log};
    bool hasStarted = false;
    TaskHandle starting;
    TaskHandle stopping;
    std::optional<std::string> answer;

    void begin(const std::string& locale = "en-GB") {
        hasStarted = false;
        starting = startTask(actor, start(engine, locale, hasStarted));
        actor.runPosted();
    }
    void end() {
        answer.reset();
        stopping = startTask(actor, stop(engine, answer));
        actor.runPosted();
    }
    void hear(const char* text, bool isFinal) {
        recogniser.hear(text, isFinal);
        actor.runPosted();
    }
    [[nodiscard]] std::string error() const { return engine._errorMessage.get().value_or(""); }
    /// Idle again, with nothing left open.
    void expectIdle(const std::string& why) {
        EXPECT_FALSE(engine._isRunning.get()) << why;
        EXPECT_EQ(engine._prepProgress.get(), std::nullopt) << why;
        EXPECT_TRUE(engine._levels.get().empty()) << why;
        EXPECT_EQ(input.tap, nullptr) << why;
        EXPECT_EQ(actor.pendingTimers(), 0U) << why;
    }
};

} // namespace

TEST_F(DictationEngineTest, aDictation) {
    std::vector<std::string> seen;
    const auto watching =
        engine._liveTranscript.observe([&](const auto& text) { seen.push_back(text); });
    begin();
    ASSERT_TRUE(hasStarted && engine._isRunning.get()) << error();
    EXPECT_EQ(recogniser.locale, "en-US");
    input.say({1, 1});
    actor.advance(0.05);
    EXPECT_EQ(engine._levels.get(), std::vector<double>{1});
    hear("Grüß", false);
    hear("Grüße", true);
    hear(" an", false);
    hear(" alle", false);
    hear(" alle.", true);

    input.onStop = [this] {
        input.say({1, 1, 1});
    };
    recogniser.onFinish = [this] {
        recogniser.results->finish();
    };
    end();
    EXPECT_EQ(answer, "Grüße alle.");
    EXPECT_EQ(recogniser.heardAtFinish, 5U) << "the last sound came after the end";
    EXPECT_EQ(
        seen, (std::vector<std::string>{"Grüß", "Grüße", "Grüße an", "Grüße alle", "Grüße alle."}));
    expectIdle("after a dictation");
    for (const char* line :
        {"engine.start: running, locale=en-US inputRate=16000.000000 analyzerRate=16000.000000",
            "results stream: begin", "results stream: FINAL #2 len=5",
            "engine.stop: called (wasRunning=1 locale=en-US)",
            "results stream: ENDED after 5 results, locale=en-US (analyzer finished input)"})
        EXPECT_TRUE(log.has(LogLevel::info, line)) << line << "\n" << log.all();
}

TEST_F(DictationEngineTest, theNextDictationBeginsEmpty) {
    for (const char* text : {"one", "two"}) {
        begin();
        EXPECT_EQ(engine._liveTranscript.get(), "");
        hear(text, true);
        recogniser.results->finish(); // also before the stop
        actor.runPosted();
        end();
        EXPECT_EQ(answer, text);
        EXPECT_EQ(engine.finalResults().size(), 1U);
    }
    end();
    EXPECT_EQ(answer, "") << "none runs";
    EXPECT_TRUE(log.has(LogLevel::info, "engine.stop: called (wasRunning=0 locale=none)"));
}

TEST_F(DictationEngineTest, resultsThatDoNotEndAreWaitedForTwoSeconds) {
    struct Case {
        const char* why;
        std::vector<std::pair<const char*, bool>> results;
        const char* answer;
    };
    const Case cases[] = {
        {"a volatile tail", {{"said", true}, {" and more", false}}, "said and more"},
        {"volatile text alone", {{"hello", false}}, "hello"},
        {"nothing", {}, ""},
    };
    for (const auto& c : cases) {
        begin();
        for (const auto& [text, isFinal] : c.results) hear(text, isFinal);
        end();
        actor.advance(1.9);
        EXPECT_EQ(answer, std::nullopt) << c.why;
        actor.advance(0.2);
        EXPECT_EQ(answer, c.answer) << c.why;
        expectIdle(c.why);
    }
    EXPECT_TRUE(
        log.has(LogLevel::error, "results stream did not finish after recognizer teardown"));
}

TEST_F(DictationEngineTest, aLateFinalResultWithinTheTwoSecondsCounts) {
    begin();
    hear("gues", false);
    end();
    actor.advance(1.5);
    hear("guess", true);
    recogniser.results->finish();
    actor.runPosted();
    EXPECT_EQ(answer, "guess");
}

TEST_F(DictationEngineTest, whyASessionDoesNotBegin) {
    struct Case {
        const char* why;
        std::function<void()> arrange;
        const char* message;
    };
    const std::string iPhone = "On-device dictation needs an iPhone with Apple Intelligence. It "
                               "isn't available in this environment.";
    const Case cases[] = {
        {"unsupported", [&] { assets.state = Status::unsupported; }, iPhone.c_str()},
        {"unknown", [&] { assets.state = Status::unknown; },
            "The on-device speech model isn't installed yet and can't be prepared right now."},
        {"no format", [&] { recogniser.format.reset(); },
            "No compatible on-device audio format is available for transcription."},
        {"the recogniser refuses",
            [&] {
                recogniser.error =
                    DictationError{DictationError::Kind::modelUnavailable, "Not now."};
            },
            "Not now."},
        {"no microphone",
            [&] {
                input.failing = Step::start;
                input.error = MacAudioInputError::defaultInputUnavailable;
            },
            "No system microphone is available. Connect a microphone and try again."},
        {"the download fails",
            [&] {
                assets.state = Status::supported;
                assets.downloads.push_back(failure(std::string("No space.")));
            },
            "No space."},
    };
    for (const auto& c : cases) {
        assets.state = Status::installed;
        recogniser.format = AudioFormat{16000, 1};
        recogniser.error.reset();
        input.failing.reset();
        c.arrange();
        begin();
        EXPECT_TRUE(hasStarted) << c.why;
        EXPECT_EQ(error(), c.message) << c.why;
        EXPECT_TRUE(log.has(LogLevel::error, std::string("engine.start: failed: ") + c.message));
        expectIdle(c.why);
    }
    assets.state = Status::installed;
    input.failing.reset();
    begin("de-DE");
    EXPECT_EQ(error(), iPhone);
    begin();
    EXPECT_EQ(error(), "") << "the next start clears it";
}

TEST_F(DictationEngineTest, aMissingModelIsDownloadedFirst) {
    for (const auto status : {Status::supported, Status::downloading}) {
        assets.state = status;
        assets.progress = {0.25, 0.5};
        std::vector<std::optional<double>> seen;
        const auto watching =
            engine._prepProgress.observe([&](const auto& part) { seen.push_back(part); });
        assets.downloads.emplace_back();
        begin();
        EXPECT_TRUE(engine._isRunning.get()) << error();
        EXPECT_EQ(seen, (std::vector<std::optional<double>>{0.0, 0.25, 0.5, std::nullopt}));
        engine.cancel();
    }
}

TEST_F(DictationEngineTest, aDownloadHasAMinute) {
    assets.state = Status::supported;
    begin();
    actor.advance(59.9);
    EXPECT_TRUE(engine._isRunning.get());
    EXPECT_TRUE(input.steps.empty()) << "the microphone opened before the model was there";
    actor.advance(0.2);
    EXPECT_EQ(error(), "Preparing the on-device speech model timed out. Check your connection and "
                       "try again.");
    expectIdle("timed out");
}

TEST_F(DictationEngineTest, startingTwiceChangesNothing) {
    begin();
    hear("kept", true);
    begin();
    EXPECT_TRUE(hasStarted);
    EXPECT_EQ(recogniser.starts, 1);
    EXPECT_EQ(engine._liveTranscript.get(), "kept");
}

TEST_F(DictationEngineTest, aStopOrACancelGivesUpAStart) {
    struct Case {
        const char* why;
        std::function<void()> arrange;
    };
    const Case cases[] = {
        {"during the download",
            [&] {
                assets.state = Status::supported;
            }},
        {"while the microphone opens",
            [&] {
                assets.state = Status::installed;
                input.hanging = Step::start;
            }},
    };
    for (const auto& c : cases)
        for (const bool isStop : {true, false}) {
            c.arrange();
            begin();
            EXPECT_FALSE(hasStarted) << c.why;
            if (isStop)
                end();
            else
                engine.cancel();
            actor.runPosted();
            EXPECT_TRUE(hasStarted) << c.why;
            EXPECT_TRUE(!isStop || answer == "") << c.why;
            EXPECT_EQ(error(), "") << c.why;
            expectIdle(c.why);
        }
}

TEST_F(DictationEngineTest, whatWasSaidBeforeTheMicrophoneWentAwayIsKept) {
    begin();
    hear("said", true);
    input.onEnded(MacAudioInputError::selectedInputUnavailable);
    EXPECT_EQ(recogniser.finishes, 1) << "the recogniser was not told";
    hear(" to the end", true);
    recogniser.results->finish();
    actor.runPosted();
    EXPECT_EQ(
        error(), "The selected microphone is unavailable. Choose another microphone in Settings.");
    end();
    EXPECT_EQ(answer, "said to the end");
}

TEST_F(DictationEngineTest, anErrorOfTheRecogniserEndsTheResults) {
    begin();
    hear("said", true);
    recogniser.results->yield(failure(std::string("It broke.")));
    actor.runPosted();
    EXPECT_EQ(error(), "It broke.");
    end();
    EXPECT_EQ(answer, "said");
    EXPECT_TRUE(log.has(LogLevel::error, "results stream: ERROR after 1 results: It broke."));
}

TEST_F(DictationEngineTest, aSecondStopAndACancelDuringAStop) {
    begin();
    hear("said", true);
    end();
    std::optional<std::string> second;
    const auto other = startTask(actor, stop(engine, second));
    actor.runPosted();
    EXPECT_EQ(second, "") << "only one of two stops has the text";
    EXPECT_EQ(answer, std::nullopt);
    engine.cancel();
    actor.runPosted();
    EXPECT_EQ(answer, "");
    expectIdle("cancelled while stopping");
}

TEST_F(DictationEngineTest, nobodyNeedsToWaitForAStop) {
    for (const bool microphoneHangs : {false, true}) {
        begin();
        hear("said", true);
        if (microphoneHangs) input.hanging = Step::stop;
        end();
        stopping.reset(); // whoever waited is gone
        if (microphoneHangs)
            engine.cancel();
        else
            actor.advance(2.1);
        expectIdle("after a stop that nobody waits for");
        input.hanging.reset();
        begin();
        EXPECT_TRUE(engine._isRunning.get()) << "the next dictation";
        engine.cancel();
    }
}

TEST_F(DictationEngineTest, anObserverMayCancelWithinAStart) {
    assets.state = Status::supported;
    assets.progress = {0.5};
    for (const auto& when :
        {std::optional<double>(0.0), std::optional<double>(0.5), std::optional<double>()}) {
        assets.state = Status::supported;
        assets.downloads = {Result<void, std::string>()};
        bool isAsked = false;
        const auto watching = engine._prepProgress.observe([&](const auto& part) {
            if (part != when || isAsked) return;
            isAsked = true;
            engine.cancel();
        });
        begin();
        EXPECT_TRUE(isAsked && hasStarted);
        expectIdle("cancelled by an observer");
        EXPECT_EQ(recogniser.starts, 0);
    }
}

TEST_F(DictationEngineTest, reservingTheLocaleIsOnlyAPreference) {
    struct Case {
        const char* why;
        std::vector<std::string> reserved;
        std::optional<std::string> error;
        std::vector<std::string> after;
        const char* line;
    };
    const Case cases[] = {
        {"room", {}, {}, {"en-US"}, ""},
        {"reserved already", {"en-US"}, {}, {"en-US"}, ""},
        {"no room", {"fr-FR"}, {}, {"fr-FR"}, "reserve skipped: 1/1 locales reserved"},
        {"refused", {}, "busy", {}, "reserve(en-US) failed: busy"},
    };
    for (const auto& c : cases) {
        log.lines.clear();
        assets.reserved = c.reserved;
        assets.reserveError = c.error;
        begin();
        EXPECT_TRUE(engine._isRunning.get()) << c.why;
        EXPECT_EQ(assets.reserved, c.after) << c.why;
        EXPECT_NE(log.all().find(c.line), std::string::npos) << c.why << "\n" << log.all();
        EXPECT_EQ(log.all().find("reserve") != std::string::npos, *c.line != '\0') << c.why;
        engine.cancel();
    }
}

} // namespace nimbe
