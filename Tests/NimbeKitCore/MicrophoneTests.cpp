#include <gtest/gtest.h>

#include "Fakes/MemoryUserDefaults.h"
#include "NimbeKitCore/Microphone/MicrophoneCapturePolicy.h"
#include "NimbeKitCore/Microphone/MicrophoneSelection.h"

namespace nimbe {

TEST(MicrophoneCapturePolicy, aChosenDeviceIsNeverReplaced) {
    using enum MicrophoneCaptureSelection::Kind;
    const MicrophoneDevice usb{"usb", "USB"};
    const MicrophoneDevice fake{MicrophoneDevice::systemDefaultUID, "An impostor"};
    const MicrophoneDevice standard{"__nimbe_system_default__", "System Default"};
    const MicrophoneDevice gone{"gone", "Selected microphone (unavailable)"};
    struct Case {
        const char* why;
        const char* preferred;
        std::vector<MicrophoneDevice> present;
        MicrophoneCaptureSelection selection;
        std::vector<MicrophoneDevice> offered;
    };
    const Case cases[] = {
        {"there", "usb", {usb}, {explicitDevice, "usb"}, {standard, usb}},
        {"unplugged", "gone", {usb}, {unavailableExplicit, "gone"}, {standard, usb, gone}},
        {"another case is another device", "USB", {usb}, {unavailableExplicit, "USB"},
            {standard, usb, {"USB", "Selected microphone (unavailable)"}}},
        {"the default", "__nimbe_system_default__", {}, {systemDefault}, {standard}},
        {"the default beats a device of its name", "__nimbe_system_default__", {fake},
            {systemDefault}, {standard, fake}},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(MicrophoneCapturePolicy::selection(c.preferred, c.present), c.selection) << c.why;
        EXPECT_EQ(MicrophoneCapturePolicy::offered(c.present, c.preferred), c.offered) << c.why;
    }
}

TEST(MicrophoneSelection, theFirstRecordingStoresTheDefault) {
    MemoryUserDefaults defaults;
    const std::string key = "selectedInputDeviceUID";
    EXPECT_EQ(MicrophoneSelection::preferredUID(defaults), "__nimbe_system_default__");
    EXPECT_FALSE(*defaults.value(key)) << "looking stores nothing";
    EXPECT_EQ(MicrophoneSelection::resolvedUID(defaults), "__nimbe_system_default__");
    EXPECT_EQ(std::get<std::string>(**defaults.value(key)), "__nimbe_system_default__");

    EXPECT_TRUE(defaults.setValue(key, std::string("usb")));
    EXPECT_EQ(MicrophoneSelection::resolvedUID(defaults), "usb");
    defaults.unreadable.insert(key);
    EXPECT_EQ(MicrophoneSelection::resolvedUID(defaults), "__nimbe_system_default__");
    defaults.unreadable.clear();
    EXPECT_EQ(MicrophoneSelection::preferredUID(defaults), "usb") << "not overwritten unread";
}

} // namespace nimbe
