#include <cstdlib>

#include "PlatformAudio/PulseAudioInput.h"
#include "Support/SoundSession.h"

namespace nimbe {
namespace {

const MicrophoneCaptureSelection byDefault{MicrophoneCaptureSelection::Kind::systemDefault, ""};
const MicrophoneCaptureSelection chosen{
    MicrophoneCaptureSelection::Kind::explicitDevice, "virtual_mic"};

Task<void> withoutResult(Task<Result<void, MacAudioInputError>> task) {
    (void)co_await task;
}

struct PulseAudioFaults : SoundTest {
    Recorder recorder;
    std::optional<PulseAudioInput> input{std::in_place, loop, log};
    std::unique_ptr<AudioEngine> engine = input->makeAudioEngine();
    std::vector<Error> ends;
    Completion<bool> ended{loop};

    Task<Result<void, Error>> starting() {
        return engine->start(recorder, 4096, [this](Error error) {
            ends.push_back(error);
            ended.complete(true);
        });
    }

    /// A destructor that hangs is a failure, too, and not the end of the whole run.
    template <typename T>
    void dropQuickly(T& held) {
        const Seconds begin = loop.now();
        held.reset();
        EXPECT_LT(loop.now() - begin, 0.5);
    }
};

} // namespace

TEST_F(PulseAudioFaults, noServerIsAnErrorAtOnce) {
    const std::string server = std::getenv("PULSE_SERVER");
    ::setenv("PULSE_SERVER", "unix:/nonexistent/pulse", 1);
    EXPECT_EQ(waitAtMost(0, input->devices()), failure(Error::inputAudioUnitUnavailable));
    EXPECT_EQ(
        waitAtMost(0, engine->inputFormat(byDefault)), failure(Error::defaultInputUnavailable));
    EXPECT_EQ(waitAtMost(0, engine->inputFormat(chosen)), failure(Error::selectedInputUnavailable));
    ::setenv("PULSE_SERVER", server.c_str(), 1);
    EXPECT_TRUE(wait(input->devices())) << "found as soon as it is there";
    EXPECT_TRUE(wait(engine->inputFormat(chosen)));
}

TEST_F(PulseAudioFaults, aServerThatDiesEndsTheRecordingAndIsFoundAgain) {
    SoundServer server;
    (void)pactl(
        {"load-module", "module-remap-source", "source_name=mic", "master=speakers.monitor"});
    Completion<bool> told(loop);
    const Token token = input->observeDevices([&told] { told.complete(true); });
    (void)wait(valueOf(told));
    ASSERT_TRUE(wait(engine->inputFormat({Kind::explicitDevice, "mic"})));
    ASSERT_TRUE(wait(starting()));
    ASSERT_TRUE(recorder.waitForMore(4800));
    told = Completion<bool>(loop);
    server.kill();
    wait(valueOf(ended));
    (void)wait(valueOf(told));
    EXPECT_EQ(wait(input->devices()), failure(Error::inputAudioUnitUnavailable));
    told = Completion<bool>(loop);
    server.start();
    EXPECT_EQ(wait(input->devices()), std::vector<MicrophoneDevice>()) << "by the next question";
    (void)wait(valueOf(told));

    told = Completion<bool>(loop);
    server.kill();
    (void)wait(valueOf(told));
    told = Completion<bool>(loop);
    server.start();
    (void)wait(valueOf(told)); // by itself, while somebody observes
    EXPECT_EQ(ends, std::vector{Error::selectedInputUnavailable}) << "once";
}

TEST_F(PulseAudioFaults, aServerThatHangsIsAnErrorWithinTheDeadline) {
    {
        const StoppedServer stopped;
        EXPECT_EQ(waitAtMost(1, input->devices()), failure(Error::inputAudioUnitUnavailable))
            << "before it was connected";
        EXPECT_EQ(
            waitAtMost(1, engine->inputFormat(byDefault)), failure(Error::defaultInputUnavailable));
        dropQuickly(engine);
        dropQuickly(input);
    }
    input.emplace(loop, log);
    engine = input->makeAudioEngine();
    ASSERT_TRUE(wait(engine->inputFormat(chosen)));
    {
        const StoppedServer stopped;
        EXPECT_EQ(waitAtMost(1, input->devices()), failure(Error::inputAudioUnitUnavailable));
        EXPECT_EQ(waitAtMost(2, starting()), failure(Error::selectionRejected));
        EXPECT_TRUE(log.has(LogLevel::error, "audio: couldn't select requested input, status=8"));
    }
    EXPECT_TRUE(wait(input->devices())) << "it went on";
    ASSERT_TRUE(wait(engine->inputFormat(byDefault)));
    EXPECT_TRUE(wait(starting()));
    wait(engine->stop());
    EXPECT_EQ(recordings(), "") << "nor did the late one stay open";
}

TEST_F(PulseAudioFaults, aServerThatHangsDuringARecordingDoesNotHoldUpItsEnd) {
    ASSERT_TRUE(wait(engine->inputFormat(chosen)));
    ASSERT_TRUE(wait(starting()));
    ASSERT_TRUE(recorder.waitForMore(1));
    {
        const StoppedServer stopped;
        const Seconds begin = loop.now();
        wait(engine->stop());
        EXPECT_LT(loop.now() - begin, 0.2 + 0.5);
    }
    ASSERT_TRUE(wait(starting()));
    {
        const StoppedServer stopped;
        dropQuickly(input);
        dropQuickly(engine);
    }
    EXPECT_TRUE(ends.empty());
    EXPECT_EQ(recordings(), "");
}

TEST_F(PulseAudioFaults, anEngineMayBeDroppedWhileTasksWaitInIt) {
    // The server does not answer: the tasks surely wait.
    ASSERT_TRUE(wait(engine->inputFormat(chosen)));
    {
        const StoppedServer stopped;
        loop.post([this] { loop.post([this] { dropQuickly(engine); }); });
        EXPECT_EQ(waitAtMost(2, starting()), failure(Error::inputAudioUnitUnavailable));
        engine = input->makeAudioEngine();
        loop.post([this] { loop.post([this] { dropQuickly(engine); }); });
        EXPECT_FALSE(waitAtMost(1, engine->inputFormat(chosen)));
    }
    engine = input->makeAudioEngine();
    ASSERT_TRUE(wait(engine->inputFormat(chosen)));
    ASSERT_TRUE(wait(starting()));
    {
        const StoppedServer stopped;
        loop.post([this] { loop.post([this] { dropQuickly(engine); }); });
        wait(engine->stop());
    }
    EXPECT_TRUE(ends.empty());
    EXPECT_EQ(recordings(), "");
}

TEST_F(PulseAudioFaults, droppedTasksLeaveNothingOpen) {
    ASSERT_TRUE(wait(engine->inputFormat(chosen)));
    // Dropped a turn later each time, from before the first step to after the last.
    for (int turns = 0; turns < 12; ++turns) {
        std::optional<TaskScope> scope(std::in_place, loop);
        const Completion<bool> isDropped(loop);
        std::function<void(int)> turn = [&](int left) {
            if (left > 0) return loop.post([&turn, left] { turn(left - 1); });
            scope.reset();
            isDropped.complete(true);
        };
        scope->start(withoutResult(starting()));
        turn(turns);
        wait(valueOf(isDropped));
        (void)wait(input->devices());
    }
    wait(engine->stop());
    EXPECT_EQ(recordings(), "");
    EXPECT_TRUE(wait(starting()));
    std::optional<TaskScope> scope(std::in_place, loop);
    {
        const StoppedServer stopped;
        scope->start(engine->stop());
        loop.post([&] { loop.post([&] { scope.reset(); }); });
        EXPECT_FALSE(wait(input->devices()));
    }
    EXPECT_EQ(recordings(), "") << "who began to stop it does not want it";
}

TEST_F(PulseAudioFaults, anEngineMayBeDroppedInTheCallThatTellsItsEnd) {
    UsbMicrophone usb("usb");
    ASSERT_TRUE(wait(engine->inputFormat({Kind::explicitDevice, "usb_mic"})));
    const auto started = wait(engine->start(recorder, 4096, [this](Error) {
        engine.reset();
        input.reset();
        ended.complete(true);
    }));
    ASSERT_TRUE(started);
    usb.unplug();
    wait(valueOf(ended));
    EXPECT_EQ(recordings(), "");
}

} // namespace nimbe
