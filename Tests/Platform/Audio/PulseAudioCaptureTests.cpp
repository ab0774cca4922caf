#include <limits>
#include <mutex>

#include "PlatformAudio/PulseAudioInput.h"
#include "Support/SoundSession.h"

namespace nimbe {
namespace {

const MicrophoneCaptureSelection byDefault{MicrophoneCaptureSelection::Kind::systemDefault, ""};

MicrophoneCaptureSelection chosen(std::string uid) {
    return {MicrophoneCaptureSelection::Kind::explicitDevice, std::move(uid)};
}

/// Knows when the first frame was recorded: no later than it came less the time that
/// all before it lasted.
class TimedTap final : public AudioTap {
public:
    explicit TimedTap(MainActor& clock) : clock(clock) {}

    void hear(std::span<const float> samples) noexcept override {
        const std::lock_guard guard(mutex);
        seconds += static_cast<double>(samples.size()) / 48'000;
        begin = std::min(begin, clock.now() - seconds);
    }
    [[nodiscard]] Seconds end() {
        const std::lock_guard guard(mutex);
        return begin + seconds;
    }

private:
    MainActor& clock;
    std::mutex mutex;
    Seconds seconds = 0;
    Seconds begin = std::numeric_limits<Seconds>::infinity();
};

Task<void> nap(MainActor& actor, Seconds seconds) {
    co_await sleep(actor, seconds);
}

struct PulseAudioCapture : SoundTest {
    Recorder recorder; // outlives the engine
    PulseAudioInput input{loop, log};
    std::unique_ptr<AudioEngine> engine = input.makeAudioEngine();
    std::vector<Error> ends;
    Completion<bool> ended{loop};

    Result<void, Error> start(
        const MicrophoneCaptureSelection& selection, std::size_t bufferFrames = 4096) {
        const auto format = waitAtMost(1, engine->inputFormat(selection));
        if (!format) return failure(format.error());
        return waitAtMost(2, engine->start(recorder, bufferFrames, [this](Error error) {
            ends.push_back(error);
            ended.complete(true);
        }));
    }
};

} // namespace

TEST_F(PulseAudioCapture, whatIsSaidIsHeardToTheEnd) {
    const UsbMicrophone usb("usb", "rate=44100 channels=2");
    struct Case {
        const char* why;
        MicrophoneCaptureSelection selection;
        const char* sink;
        double sampleRate;
        unsigned channels;
        std::size_t bufferFrames;
    };
    const Case cases[] = {
        {"the default", byDefault, "mic_feed", 48'000, 1, 4096},
        {"the same, chosen, in small buffers", chosen("virtual_mic"), "mic_feed", 48'000, 1, 100},
        {"another, in frames of its own", chosen("usb_mic"), "usb", 44'100, 2, 4096},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.why);
        Recorder taken;
        engine = input.makeAudioEngine();
        const auto format = wait(engine->inputFormat(c.selection));
        ASSERT_EQ(format, (AudioFormat{c.sampleRate, c.channels}));
        ASSERT_TRUE(wait(engine->start(taken, c.bufferFrames, {})));
        ASSERT_TRUE(taken.waitForMore(1));
        play(c.sink, 1000, 0.5);
        const Seconds begin = loop.now();
        wait(engine->stop());
        EXPECT_LT(loop.now() - begin, 0.2 + 0.5);
        const auto all = taken.all();
        play(c.sink, 500, 0.1);
        EXPECT_EQ(taken.count(), all.size()) << "heard after stop";

        EXPECT_LE(taken.largestBuffer(), c.bufferFrames * c.channels);
        std::vector<float> first;
        for (std::size_t i = 0; i < all.size(); i += c.channels) {
            first.push_back(all[i]);
            ASSERT_NEAR(all[i], all[i + c.channels - 1], 1e-4F) << i;
        }
        const Tone tone = Tone::of(first, c.sampleRate);
        EXPECT_NEAR(tone.hertz, 1000, 2);
        EXPECT_NEAR(tone.seconds, 0.5, 0.002);
        EXPECT_NEAR(tone.peak, 0.5, 0.02);
    }
    EXPECT_EQ(recordings(), "");
}

TEST_F(PulseAudioCapture, whatIsSaidUntilTheStopIsHeard) {
    // The server hands over 20 ms at a time; the call comes anywhere in between.
    for (int i = 0; i < 12; ++i) {
        TimedTap timed(loop);
        engine = input.makeAudioEngine();
        ASSERT_TRUE(wait(engine->inputFormat(byDefault)));
        ASSERT_TRUE(wait(engine->start(timed, 4096, {})));
        wait(nap(loop, 0.15 + i * 0.0037));
        const Seconds call = loop.now();
        wait(engine->stop());
        EXPECT_GT(timed.end(), call - 0.008) << i; // a busy machine's server is late itself
        engine.reset();
    }
}

TEST_F(PulseAudioCapture, anUnpluggedDeviceEndsItAndIsNotExchanged) {
    UsbMicrophone usb("usb");
    ASSERT_TRUE(start(chosen("usb_mic")));
    ASSERT_TRUE(recorder.waitForMore(4800));
    usb.unplug();
    wait(valueOf(ended));
    const auto count = recorder.count();
    play("mic_feed", 1000, 0.1);
    EXPECT_EQ(recorder.count(), count) << "from another microphone";
    EXPECT_EQ(recordings(), "");
    wait(engine->stop());
    (void)wait(input.devices());
    EXPECT_EQ(ends, std::vector{Error::selectedInputUnavailable}) << "once";
    EXPECT_EQ(start(chosen("usb_mic")), failure(Error::selectedInputUnavailable));
    EXPECT_TRUE(start(byDefault)) << "the engine can be used again";
}

TEST_F(PulseAudioCapture, aDeviceUnpluggedDuringTheStopIsNotTold) {
    UsbMicrophone usb("usb");
    ASSERT_TRUE(start(chosen("usb_mic")));
    ASSERT_TRUE(recorder.waitForMore(1));
    loop.post([&] { loop.post([&] { usb.unplug(); }); }); // the stop waits by then
    wait(engine->stop());
    (void)wait(input.devices());
    EXPECT_TRUE(ends.empty());
}

TEST_F(PulseAudioCapture, aDeviceThatVanishesBeforeTheStartIsNotExchanged) {
    UsbMicrophone usb("usb");
    ASSERT_TRUE(wait(engine->inputFormat(chosen("usb_mic"))));
    usb.unplug();
    const auto started = waitAtMost(2, engine->start(recorder, 4096, {}));
    EXPECT_EQ(started, failure(Error::selectedInputUnavailable));
    EXPECT_TRUE(log.has(LogLevel::error, "audio: couldn't select requested input, status=5"));
    EXPECT_EQ(recordings(), "");
    EXPECT_EQ(recorder.count(), 0U);
}

TEST_F(PulseAudioCapture, theDefaultFollowsTheSystemToAnotherMicrophone) {
    UsbMicrophone usb("usb");
    (void)pactl({"set-default-source", "usb_mic"});
    ASSERT_TRUE(start(byDefault));
    ASSERT_TRUE(recorder.waitForMore(4800));
    usb.unplug();
    ASSERT_TRUE(recorder.waitForMore(4800)) << "from the microphone that is left";
    play("mic_feed", 1000, 0.2);
    wait(engine->stop());
    EXPECT_NEAR(Tone::of(recorder.all(), 48'000).seconds, 0.2, 0.002);
    EXPECT_TRUE(ends.empty());
    (void)pactl({"set-default-source", "virtual_mic"});
}

TEST_F(PulseAudioCapture, aMonitorIsNoDefaultMicrophone) {
    const SoundServer server; // has nothing but a monitor
    PulseAudioInput lonely(loop, log);
    engine = lonely.makeAudioEngine();
    EXPECT_EQ(start(byDefault), failure(Error::defaultInputUnavailable));
    {
        UsbMicrophone usb("usb");
        ASSERT_TRUE(start(byDefault));
        ASSERT_TRUE(recorder.waitForMore(4800));
        usb.unplug(); // the server moves the stream to a monitor
        wait(valueOf(ended));
        EXPECT_EQ(ends, std::vector{Error::defaultInputUnavailable});
        const auto count = recorder.count();
        play("speakers", 1000, 0.1);
        EXPECT_EQ(recorder.count(), count);
        EXPECT_EQ(Tone::of(recorder.all(), 48'000).peak, 0);
    }
    // It goes between the two steps: the server would take the monitor.
    std::optional<UsbMicrophone> usb(std::in_place, "usb");
    ASSERT_TRUE(wait(engine->inputFormat(byDefault)));
    usb.reset();
    EXPECT_EQ(
        waitAtMost(2, engine->start(recorder, 4096, {})), failure(Error::defaultInputUnavailable));
    engine.reset();
}

TEST_F(PulseAudioCapture, fiftyTimesInARow) {
    for (int i = 0; i < 50; ++i) {
        ASSERT_TRUE(start(i % 2 == 0 ? byDefault : chosen("virtual_mic"))) << i;
        ASSERT_TRUE(i % 10 != 0 || recorder.waitForMore(1)) << i;
        wait(engine->stop());
    }
    EXPECT_TRUE(ends.empty());
    EXPECT_EQ(recordings(), "");
}

TEST_F(PulseAudioCapture, callsOutOfOrderAreErrors) {
    EXPECT_EQ(
        waitAtMost(2, engine->start(recorder, 1, {})), failure(Error::inputAudioUnitUnavailable))
        << "before inputFormat()";
    wait(engine->stop());
    ASSERT_TRUE(start(byDefault));
    EXPECT_EQ(
        waitAtMost(2, engine->start(recorder, 1, {})), failure(Error::inputAudioUnitUnavailable))
        << "it runs";
    // Two who stop it at once both wait for what was said.
    TaskScope scope(loop);
    scope.start(engine->stop());
    wait(engine->stop());
    EXPECT_EQ(recordings(), "");
    wait(engine->stop());
}

} // namespace nimbe
