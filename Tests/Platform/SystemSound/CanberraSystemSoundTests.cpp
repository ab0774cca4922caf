#include <cstring>
#include <future>
#include <optional>
#include <thread>

#include <gtest/gtest.h>

#include "PlatformSystemSound/CanberraSystemSound.h"
#include "Support/Process.h"
#include "Support/SoundSession.h"

// With a sound server of their own: run by scripts/desktop-session.

namespace nimbe {
namespace {

constexpr double rate = 48'000;

/// What the loudspeakers get for so many seconds, from when this returns.
std::future<std::vector<float>> listen(const char* seconds) {
    auto heard = std::async(std::launch::async, [seconds] {
        const auto ran = Process::run(
            {"/usr/bin/timeout", seconds, "parec", "--device=speakers.monitor",
                "--format=float32le", "--rate=48000", "--channels=1", "--latency-msec=20"},
            "");
        std::vector<float> samples(ran.output.size() / sizeof(float));
        std::memcpy(samples.data(), ran.output.data(), samples.size() * sizeof(float));
        return samples;
    });
    for (int i = 0; i < 500 && recordings().empty(); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    return heard;
}

float peakOf(const std::vector<float>& samples) {
    float peak = 0;
    for (const float sample : samples) peak = std::max(peak, std::abs(sample));
    return peak;
}

/// From the first to the last sample that is not silence.
double lengthOf(const std::vector<float>& samples) {
    std::optional<std::size_t> first;
    std::size_t last = 0;
    for (std::size_t i = 0; i < samples.size(); ++i) {
        if (std::abs(samples[i]) < 0.001F) continue;
        if (!first) first = i;
        last = i;
    }
    return first ? static_cast<double>(last - *first) / rate : 0;
}

void waitForSample() {
    for (int i = 0; i < 500 && pactl({"list", "short", "samples"}).empty(); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
}

class CanberraSystemSoundTest : public SoundTest {
protected:
    /// The longest that the main thread was held up.
    template <typename Act>
    Seconds timeOf(Act act) {
        const auto begin = loop.now();
        act();
        return loop.now() - begin;
    }
};

} // namespace

TEST_F(CanberraSystemSoundTest, isHeard) {
    CanberraSystemSound sound(log);
    waitForSample();
    EXPECT_NE(pactl({"list", "short", "samples"}), "") << "the server has it before it is needed";
    for (int i = 0; i < 2; ++i) {
        auto listening = listen("1.5");
        sound.play(SystemSound::pop);
        const auto heard = listening.get();
        EXPECT_GT(peakOf(heard), 0.02F) << i;
        EXPECT_GT(lengthOf(heard), 0.1) << i;
        EXPECT_LT(lengthOf(heard), 0.5) << i;
    }
    auto listening = listen("1");
    sound.play("Sosumi");
    EXPECT_EQ(peakOf(listening.get()), 0) << "another sound in its place";
    EXPECT_EQ(log.lines.size(), 0U) << log.all();
}

TEST_F(CanberraSystemSoundTest, aServerThatHangsHoldsNothingUp) {
    {
        const StoppedServer stopped;
        std::optional<CanberraSystemSound> sound;
        EXPECT_LT(timeOf([&] { sound.emplace(log); }), 0.2);
        EXPECT_LT(timeOf([&] {
            for (int i = 0; i < 3; ++i) sound->play(SystemSound::pop);
        }),
            0.2);
        EXPECT_LT(timeOf([&] { sound.reset(); }), 1);
    }
    {
        CanberraSystemSound sound(log);
        waitForSample();
        auto listening = listen("2.5");
        {
            const StoppedServer stopped;
            for (int i = 0; i < 3; ++i)
                EXPECT_LT(timeOf([&] { sound.play(SystemSound::pop); }), 0.2);
        }
        EXPECT_LT(lengthOf(listening.get()), 0.5) << "the others were played late";
    }
}

TEST_F(CanberraSystemSoundTest, withoutAServerItIsSilent) {
    SoundServer server;
    server.kill();
    {
        CanberraSystemSound sound(log);
        for (int i = 0; i < 3; ++i) EXPECT_LT(timeOf([&] { sound.play(SystemSound::pop); }), 0.2);
    }
    EXPECT_LE(log.lines.size(), 1U) << log.all();
    CanberraSystemSound sound(log);
    server.start();
    for (int i = 0; i < 500 && pactl({"list", "short", "samples"}).empty(); ++i) {
        sound.play(SystemSound::pop);
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    EXPECT_NE(pactl({"list", "short", "samples"}), "") << "it is there again";
}

} // namespace nimbe
