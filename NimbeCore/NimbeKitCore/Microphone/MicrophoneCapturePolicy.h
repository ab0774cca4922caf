#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "NimbeKitCore/Microphone/MicrophoneDevice.h"

namespace nimbe {

/// Which microphone a recording is to use.
struct MicrophoneCaptureSelection {
    enum class Kind {
        explicitDevice,      // the user chose it, and it is there
        unavailableExplicit, // the user chose it, and it is not: nothing stands in for it
        systemDefault
    };
    Kind kind = Kind::systemDefault;
    std::string uid = {}; // of the chosen device

    friend bool operator==(
        const MicrophoneCaptureSelection&, const MicrophoneCaptureSelection&) = default;
};

struct MicrophoneCapturePolicy {
    [[nodiscard]] static bool isSystemDefault(std::string_view uid) {
        return uid == MicrophoneDevice::systemDefaultUID;
    }

    [[nodiscard]] static MicrophoneCaptureSelection selection(
        std::string_view preferredUID, const std::vector<MicrophoneDevice>& devices);

    /// What the user is offered: the system default, the devices that are there, and
    /// the preferred one when it is not.
    [[nodiscard]] static std::vector<MicrophoneDevice> offered(
        const std::vector<MicrophoneDevice>& present, std::string_view preferredUID);
};

} // namespace nimbe
