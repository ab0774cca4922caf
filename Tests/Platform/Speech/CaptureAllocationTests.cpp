#include <gtest/gtest.h>

#include "Fakes/FakeAudioInput.h"
#include "Fakes/FakeLogSink.h"
#include "Fakes/FakeSpeechRuntime.h"
#include "Fakes/MemoryUserDefaults.h"
#include "Foundation/RunLoop.h"
#include "NimbeEngine/Audio/AudioCapture.h"
#include "NimbeEngine/Speech/LocalSpeechEngine.h"
#include "PlatformAudio/SampleRateConverters.h"
#include "Support/AllocationCount.h"

namespace nimbe {
namespace {

Task<void> start(AudioCapture& capture, AudioSink& sink, bool& isStarted) {
    auto starting = capture.start({16000, 1}, sink, [](const auto&) {});
    const auto started = co_await starting;
    isStarted = started.has_value();
}

} // namespace

TEST(CaptureAllocation, thePathFromMicrophoneToRecogniserTakesNothingFromTheHeap) {
    for (const AudioFormat format : {AudioFormat{16000, 1}, {48000, 2}, {44100, 1}, {8000, 1}}) {
        RunLoop loop;
        FakeAudioInput input;
        FakeLogSink log;
        FakeSpeechRuntime runtime;
        MemoryUserDefaults defaults;
        SampleRateConverters converters;
        AudioCapture capture(input, converters, defaults, log);
        LocalSpeechEngine engine(
            loop, runtime, [] { return "/model"; }, log);
        ASSERT_TRUE(engine.start("en-US", {16000, 1}));
        input.format = format;
        bool isStarted = false;
        loop.runUntilDone(start(capture, engine.input(), isStarted));
        ASSERT_TRUE(isStarted && input.tap);

        const std::vector<float> samples(4096 * format.channels, 0.25F);
        const AllocationCount count; // of this thread
        for (int i = 0; i < 200; ++i) input.tap->hear(samples);
        EXPECT_EQ(count.value(), 0U) << format.sampleRate;
        EXPECT_EQ(capture.diagnostics.analyzerYields, 200U);
        capture.abandon();
    }
}

} // namespace nimbe
