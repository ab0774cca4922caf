#include "PlatformAudio/PulseAudioInput.h"
#include "Support/SoundSession.h"

namespace nimbe {
namespace {

using Devices = std::vector<MicrophoneDevice>;
const MicrophoneDevice virtualMicrophone{"virtual_mic", "VirtualMicrophone"};

struct PulseAudioDevices : SoundTest {
    PulseAudioInput input{loop, log};

    Devices devices() { return waitAtMost(1, input.devices()).value(); }
};

/// Counts calls; the next one can be waited for.
struct Told {
    explicit Told(AudioInput& input, MainActor& actor)
        : actor(actor), next(actor), token(input.observeDevices([this] {
              ++count;
              next.complete(true);
          })) {}

    MainActor& actor;
    Completion<bool> next;
    int count = 0;
    Token token;

    Task<bool> again() {
        next = Completion<bool>(actor);
        return valueOf(next);
    }
};

} // namespace

TEST_F(PulseAudioDevices, areListedWithoutMonitors) {
    EXPECT_EQ(devices(), Devices{virtualMicrophone});
    const UsbMicrophone usb("usb", "rate=44100 channels=2", "Tischmikrofon für Büro — 麦克风");
    EXPECT_EQ(
        devices(), (Devices{virtualMicrophone, {"usb_mic", "Tischmikrofon für Büro — 麦克风"}}));
}

TEST_F(PulseAudioDevices, thatComeAndGoAreTold) {
    Told told(input, loop);
    wait(valueOf(told.next)); // the connection itself
    (void)devices();

    auto next = told.again();
    std::optional<UsbMicrophone> usb(std::in_place, "usb");
    wait(std::move(next));
    EXPECT_EQ(devices().size(), 2U);

    next = told.again();
    usb->unplug();
    wait(std::move(next));
    EXPECT_EQ(devices(), Devices{virtualMicrophone});

    next = told.again();
    (void)pactl({"set-default-source", "speakers.monitor"});
    wait(std::move(next));
    next = told.again();
    (void)pactl({"set-default-source", "virtual_mic"});
    wait(std::move(next));
}

TEST_F(PulseAudioDevices, changesAreToldOnceATurnAndNotTheOnesOfVolume) {
    Told told(input, loop);
    wait(valueOf(told.next));
    (void)devices();
    told.count = 0;
    // Eight changes while the main thread does not turn. The last of them may reach it later.
    std::optional<UsbMicrophone> one(std::in_place, "one");
    std::optional<UsbMicrophone> two(std::in_place, "two");
    one.reset();
    two.reset();
    (void)devices();
    EXPECT_GE(told.count, 1);
    EXPECT_LE(told.count, 2);

    (void)devices();
    told.count = 0;
    for (const char* volume : {"70%", "80%", "100%"})
        (void)pactl({"set-source-volume", "virtual_mic", volume});
    (void)devices(); // its answer comes after the server told of what was before
    EXPECT_EQ(told.count, 0);
}

TEST_F(PulseAudioDevices, aDroppedTokenIsNotTold) {
    Told dropped(input, loop);
    Told kept(input, loop);
    std::optional<Token> itself;
    int calls = 0;
    itself = input.observeDevices([&] {
        ++calls;
        itself.reset();
    });
    wait(valueOf(kept.next));
    (void)devices();
    dropped.token.reset();
    dropped.count = 0;
    auto next = kept.again();
    const UsbMicrophone usb("usb");
    wait(std::move(next));
    EXPECT_EQ(dropped.count, 0);
    EXPECT_EQ(calls, 1) << "dropped in its own call";
}

TEST_F(PulseAudioDevices, formatsAreTheDevicesOwn) {
    const UsbMicrophone usb("usb", "rate=44100 channels=6");
    const auto engine = input.makeAudioEngine();
    struct Case {
        MicrophoneCaptureSelection selection;
        Result<AudioFormat, Error> expected;
    };
    const auto gone = failure(Error::selectedInputUnavailable);
    const Case cases[] = {
        {{systemDefault, ""}, AudioFormat{48'000, 1}},
        {{Kind::explicitDevice, "usb_mic"}, AudioFormat{44'100, 6}},
        {{Kind::explicitDevice, "virtual_mic"}, AudioFormat{48'000, 1}},
        {{Kind::explicitDevice, "no_mic"}, gone}, {{Kind::explicitDevice, "mic ÄÖ\n"}, gone},
        {{Kind::explicitDevice, ""}, gone},
        {{Kind::explicitDevice, "usb.monitor"}, gone},      // hears what others play
        {{Kind::explicitDevice, "@DEFAULT_SOURCE@"}, gone}, // stands for another
        {{Kind::explicitDevice, "2"}, gone},                // a number of a source
        {{Kind::unavailableExplicit, "virtual_mic"}, gone}, // not even if it came back
    };
    for (const auto& c : cases)
        EXPECT_EQ(waitAtMost(1, engine->inputFormat(c.selection)), c.expected) << c.selection.uid;
}

} // namespace nimbe
