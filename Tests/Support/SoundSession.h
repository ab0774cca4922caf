#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "Fakes/FakeLogSink.h"
#include "Foundation/RunLoop.h"
#include "Foundation/TaskScope.h"
#include "NimbeEngine/Audio/AudioInput.h"
#include "Support/TemporaryFolder.h"

// What the tests with a real sound server share. They run in scripts/desktop-session.

namespace nimbe {

/// Runs pactl; its output without the line end.
std::string pactl(std::vector<std::string> arguments);

/// The server's list of what clients record; empty when nothing was left open.
std::string recordings();

/// A tone of 48 kHz in one channel, played to a sink; returns when it was played.
void play(const std::string& sink, double hertz, double seconds);

/// Keeps what it hears. The test may look at any time.
class Recorder final : public AudioTap {
public:
    Recorder() { samples.reserve(96'000 * 20); }
    void hear(std::span<const float> heard) noexcept override;

    /// False when they do not come within ten seconds.
    [[nodiscard]] bool waitForMore(std::size_t count);
    [[nodiscard]] std::vector<float> all() const;
    [[nodiscard]] std::size_t count() const { return all().size(); }
    [[nodiscard]] std::size_t largestBuffer() const;

private:
    mutable std::mutex mutex;
    std::condition_variable came;
    std::vector<float> samples;
    std::size_t largest = 0;
};

/// Where the sound above a twentieth of full scale begins and ends, and its pitch by
/// its zero crossings.
struct Tone {
    double seconds = 0;
    double hertz = 0;
    double peak = 0;
    static Tone of(const std::vector<float>& samples, double sampleRate);
};

/// A microphone that can be unplugged; it hears what is played to the sink NAME.
class UsbMicrophone {
public:
    explicit UsbMicrophone(std::string name, const std::string& format = "rate=48000 channels=1",
        const std::string& description = "Usb");
    ~UsbMicrophone();
    UsbMicrophone(const UsbMicrophone&) = delete;
    UsbMicrophone& operator=(const UsbMicrophone&) = delete;

    void unplug();
    [[nodiscard]] std::string uid() const { return name + "_mic"; }

private:
    std::string name;
    std::string sinkModule;
    std::string sourceModule;
};

/// Another server, the one that is asked while it lives; it may be killed.
class SoundServer {
public:
    SoundServer();
    ~SoundServer();
    SoundServer(const SoundServer&) = delete;
    SoundServer& operator=(const SoundServer&) = delete;

    void start();
    void kill();

private:
    TemporaryFolder folder;
    std::string previous;
    int pid = 0;
};

/// The session's server does not answer while this lives.
class StoppedServer {
public:
    StoppedServer();
    ~StoppedServer();
    StoppedServer(const StoppedServer&) = delete;
    StoppedServer& operator=(const StoppedServer&) = delete;
};

template <typename T>
Task<T> valueOf(Completion<T> completion) {
    T value = co_await completion;
    co_return value;
}

class SoundTest : public testing::Test {
protected:
    using Error = MacAudioInputError;
    using Kind = MicrophoneCaptureSelection::Kind;
    static constexpr auto systemDefault = Kind::systemDefault;

    RunLoop loop;
    FakeLogSink log;

    void SetUp() override;

    /// Runs the loop until the task ends; throws when that takes ten seconds.
    template <typename T>
    T wait(Task<T> task) {
        std::optional<T> result;
        loop.runUntilDone(keep(withDeadline(loop, 10, std::move(task)), result));
        if (!result) throw std::runtime_error("nothing happened for ten seconds");
        return std::move(*result);
    }
    void wait(Task<void> task) { (void)wait(done(std::move(task))); }

    /// And measures: the ports state deadlines.
    template <typename T>
    T waitAtMost(Seconds limit, Task<T> task) {
        const Seconds begin = loop.now();
        T result = wait(std::move(task));
        EXPECT_LT(loop.now() - begin, limit + 0.9) << "beyond the deadline of " << limit;
        return result;
    }

private:
    template <typename T>
    static Task<void> keep(Task<std::optional<T>> task, std::optional<T>& result) {
        auto value = co_await task;
        result = std::move(value);
    }
    static Task<bool> done(Task<void> task) {
        co_await task;
        co_return true;
    }
};

} // namespace nimbe
