#pragma once

#include <string>

#include "Foundation/UserDefaults.h"
#include "NimbeKitCore/Microphone/MicrophoneDevice.h"

namespace nimbe {

/// The user's choice of microphone.
struct MicrophoneSelection {
    inline static const Setting<std::string> selectedInput{
        "selectedInputDeviceUID", MicrophoneDevice::systemDefaultUID};

    [[nodiscard]] static std::string preferredUID(UserDefaults& defaults) {
        return defaults.get(selectedInput);
    }

    /// At the start of a recording: the same, and afterwards the setting exists.
    [[nodiscard]] static std::string resolvedUID(UserDefaults& defaults);
};

} // namespace nimbe
