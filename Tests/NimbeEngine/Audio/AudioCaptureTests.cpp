#include <limits>

#include <gtest/gtest.h>

#include "Fakes/FakeAudioConverters.h"
#include "Fakes/FakeAudioInput.h"
#include "Fakes/FakeLogSink.h"
#include "Fakes/FakeTranscriptionEngine.h"
#include "Fakes/ManualMainActor.h"
#include "Fakes/MemoryUserDefaults.h"
#include "NimbeEngine/Audio/AudioCapture.h"
#include "NimbeEngine/Audio/MacAudioDeviceStore.h"
#include "NimbeEngine/Audio/SampleQueue.h"
#include "NimbeKitCore/Microphone/MicrophoneSelection.h"

namespace nimbe {
namespace {

using Step = FakeAudioInput::Step;
using Started = Result<void, CaptureFailure>;

const std::string preference{MicrophoneSelection::selectedInput.key};

Task<void> start(AudioCapture& capture, AudioSink& sink, std::optional<Started>& outcome,
    std::vector<CaptureFailure>& ends) {
    auto starting =
        capture.start({16000, 1}, sink, [&](const CaptureFailure& end) { ends.push_back(end); });
    outcome = co_await starting;
}

struct AudioCaptureTest : testing::Test {
    ManualMainActor actor;
    FakeAudioInput input;
    FakeAudioConverters converters;
    MemoryUserDefaults defaults;
    FakeLogSink log;
    FakeTranscriptionEngine recogniser{actor}; // only what it hears counts here
    AudioCapture capture{input, converters, defaults, log};
    std::vector<CaptureFailure> ends;
    TaskHandle task;

    /// Absent: it has not answered.
    std::optional<Started> started() {
        (void)recogniser.start("en-US", {16000, 1});
        std::optional<Started> outcome;
        task = startTask(actor, start(capture, recogniser.input(), outcome, ends));
        actor.runPosted();
        return outcome;
    }
    void stop() {
        task = startTask(actor, capture.stop());
        actor.runPosted();
    }
};

} // namespace

TEST_F(AudioCaptureTest, whichMicrophoneIsOpened) {
    input.present = {{"usb", "USB"}, {"built-in", "Built-in"}};
    struct Case {
        const char* why;
        std::optional<std::string> stored;
        std::vector<std::string> steps;
        std::string storedAfter;
        std::optional<MacAudioInputError> error;
    };
    const Case cases[] = {
        {"nothing chosen", {}, {"format:", "start"}, "__nimbe_system_default__", {}},
        {"the default chosen", "__nimbe_system_default__", {"format:", "start"},
            "__nimbe_system_default__", {}},
        {"one that is there", "built-in", {"devices", "format:built-in", "start"}, "built-in", {}},
        {"one that is not: no other is opened", "gone", {"devices"}, "gone",
            MacAudioInputError::selectedInputUnavailable},
    };
    for (const auto& c : cases) {
        ASSERT_TRUE(defaults.remove(MicrophoneSelection::selectedInput));
        if (c.stored) {
            ASSERT_TRUE(defaults.set(MicrophoneSelection::selectedInput, *c.stored));
        }
        const auto outcome = started();
        ASSERT_TRUE(outcome) << c.why;
        EXPECT_EQ(outcome->has_value(), !c.error) << c.why;
        if (c.error) {
            EXPECT_EQ(outcome->error(), CaptureFailure(*c.error)) << c.why;
        }
        EXPECT_EQ(input.steps, c.steps) << c.why;
        EXPECT_EQ(defaults.get(MicrophoneSelection::selectedInput), c.storedAfter) << c.why;
        EXPECT_TRUE(*defaults.value(preference)) << c.why;
        capture.abandon();
        input.steps.clear();
    }
}

TEST_F(AudioCaptureTest, whatCannotBeOpenedIsClosedAgain) {
    struct Case {
        const char* why;
        std::optional<Step> failing;
        AudioFormat format;
        CaptureFailure expected;
    };
    constexpr auto rejected = MacAudioInputError::selectionRejected;
    constexpr auto unusable = CaptureError::noUsableInputFormat;
    const Case cases[] = {
        {"no format", Step::inputFormat, {48000, 1}, rejected},
        {"no start", Step::start, {48000, 1}, rejected},
        {"a rate of 0", {}, {0, 1}, unusable},
        {"a negative rate", {}, {-1, 1}, unusable},
        {"a rate that is no number", {}, {std::numeric_limits<double>::quiet_NaN(), 1}, unusable},
        {"no channels", {}, {48000, 0}, unusable},
    };
    input.error = rejected;
    for (const auto& c : cases) {
        input.failing = c.failing;
        input.format = c.format;
        const auto outcome = started();
        ASSERT_TRUE(outcome && !*outcome) << c.why;
        EXPECT_EQ(outcome->error(), c.expected) << c.why;
        EXPECT_EQ(input.steps.back(), "close") << c.why;
    }
    input.failing.reset();
    input.format = {48000, 2};
    converters.isRefusing = true;
    EXPECT_EQ(started()->error(), CaptureFailure(unusable)) << "no converter";
}

TEST_F(AudioCaptureTest, soundIsConvertedMeasuredAndCounted) {
    input.format = {48000, 2};
    ASSERT_TRUE(started() && input.tap);
    // The level is the first channel's: full scale, while the second is silent.
    input.say({1, 0, -1, 0});
    input.say({0, 1});
    EXPECT_EQ(recogniser.heard, (std::vector<float>{1, -1, 0}));
    EXPECT_EQ(capture.levelStore.latest(), (std::vector<double>{1, 0}));
    EXPECT_EQ(capture.inputSampleRate, 48000);
    converters.isFailing = true;
    input.say({1, 1});
    EXPECT_EQ(capture.diagnostics.tapBuffers, 3U);
    EXPECT_EQ(capture.diagnostics.converted, 2U);
    EXPECT_EQ(capture.diagnostics.converterErrors, 1U);
    EXPECT_EQ(capture.diagnostics.lastConvertedFrames, 1U);
    EXPECT_EQ(capture.diagnostics.analyzerYields, 2U);
    EXPECT_STREQ(capture.diagnostics.lastError, "it was told to fail");
    EXPECT_GT(capture.diagnostics.lastTapUptimeNs, 0U);
    EXPECT_EQ(recogniser.heard.size(), 3U) << "a buffer that could not be converted";
}

TEST_F(AudioCaptureTest, theSameFormatNeedsNoConverter) {
    ASSERT_TRUE(started() && input.tap);
    for (int i = 0; i < 20; ++i) input.say(std::vector<float>(4096, static_cast<float>(i) / 20));
    EXPECT_TRUE(converters.made.empty());
    ASSERT_EQ(recogniser.heard.size(), 20U * 4096);
    for (std::size_t i = 0; i < 20; ++i)
        ASSERT_EQ(recogniser.heard[i * 4096 + 4095], static_cast<float>(i) / 20);
}

TEST_F(AudioCaptureTest, theEndOfTheLastWordIsHandedOver) {
    input.format = {48000, 1};
    ASSERT_TRUE(started() && input.tap);
    input.say({0.1F});
    input.onStop = [this] {
        input.say({0.2F});
    };
    converters.tail = {0.3F};
    stop();
    EXPECT_EQ(recogniser.heard, (std::vector<float>{0.1F, 0.2F, 0.3F}));
    EXPECT_EQ(input.steps.back(), "close");
    EXPECT_TRUE(log.has(LogLevel::info, "audio: stopped, taps=2 converted=2 errors=0 yields=3"));
}

TEST_F(AudioCaptureTest, aMicrophoneThatGoesAwayIsTold) {
    input.format = {48000, 1};
    converters.tail = {0.3F};
    ASSERT_TRUE(started());
    input.onEnded(MacAudioInputError::selectedInputUnavailable);
    EXPECT_EQ(recogniser.heard, std::vector<float>{0.3F}) << "the end of the last word";
    stop();
    EXPECT_EQ(recogniser.heard.size(), 1U);
    EXPECT_EQ(ends, (std::vector<CaptureFailure>{MacAudioInputError::selectedInputUnavailable}));
}

TEST_F(AudioCaptureTest, aStartThatIsGivenUpClosesTheMicrophone) {
    for (const auto step : {Step::devices, Step::inputFormat, Step::start}) {
        ASSERT_TRUE(defaults.set(MicrophoneSelection::selectedInput, std::string("usb")));
        input.present = {{"usb", "USB"}};
        input.hanging = step;
        EXPECT_FALSE(started());
        task.reset();
        capture.abandon();
        EXPECT_TRUE(step == Step::devices || input.steps.back() == "close");
    }
}

TEST(MacAudioDeviceStore, theListFollowsWhatComesAndGoes) {
    ManualMainActor actor;
    FakeAudioInput input;
    MemoryUserDefaults defaults;
    FakeLogSink log;
    const MicrophoneDevice usb{"usb", "USB Ünit"};
    const auto standard = MicrophoneDevice::systemDefault();
    const MicrophoneDevice gone{"usb", "Selected microphone (unavailable)"};
    MacAudioDeviceStore store(actor, input, defaults, log);
    using Devices = std::vector<MicrophoneDevice>;
    EXPECT_EQ(store._devices.get(), Devices{standard}) << "before the first answer";

    input.present = {usb};
    actor.runPosted();
    EXPECT_EQ(store._devices.get(), (Devices{standard, usb}));
    EXPECT_TRUE(store.select("usb"));
    input.present.clear();
    input.onChange();
    actor.runPosted();
    EXPECT_EQ(store._devices.get(), (Devices{standard, gone})) << "the choice stays visible";

    input.failing = Step::devices;
    input.onChange();
    actor.runPosted();
    EXPECT_EQ(store._devices.get(), (Devices{standard, gone})) << "no sound server";
    defaults.refusesWrites = true;
    EXPECT_FALSE(store.select(standard.uid));
}

TEST(SampleQueue, keepsOrderAndTakesNoMoreThanFits) {
    SampleQueue queue(4);
    std::vector<float> taken(4);
    const auto pop = [&](std::size_t count) {
        taken.assign(count, -1);
        taken.resize(queue.pop(taken));
        return taken;
    };
    // Three rounds, so that both ends pass the end of the memory.
    for (int round = 0; round < 3; ++round) {
        EXPECT_EQ(queue.push(std::vector<float>{1, 2, 3}), 3U);
        EXPECT_EQ(queue.push(std::vector<float>{4, 5}), 1U) << "it is full";
        EXPECT_EQ(queue.push(std::vector<float>{6}), 0U);
        EXPECT_EQ(pop(2), (std::vector<float>{1, 2}));
        EXPECT_EQ(queue.push(std::vector<float>{7}), 1U);
        EXPECT_EQ(pop(9), (std::vector<float>{3, 4, 7}));
        EXPECT_TRUE(pop(1).empty());
    }
}

TEST(LevelStore, keepsTheLastHundred) {
    LevelStore store;
    for (int i = 0; i < 250; ++i) store.store(i);
    const auto levels = store.latest();
    ASSERT_EQ(levels.size(), 100U);
    EXPECT_EQ(levels.front(), 150);
    EXPECT_EQ(levels.back(), 249);
    store.clear();
    EXPECT_TRUE(store.latest().empty());
}

} // namespace nimbe
