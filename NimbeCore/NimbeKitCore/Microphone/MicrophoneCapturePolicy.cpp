#include "NimbeKitCore/Microphone/MicrophoneCapturePolicy.h"

#include <algorithm>

namespace nimbe {
namespace {

bool contains(const std::vector<MicrophoneDevice>& devices, std::string_view uid) {
    return std::any_of(
        devices.begin(), devices.end(), [&](const auto& device) { return device.uid == uid; });
}

} // namespace

MicrophoneCaptureSelection MicrophoneCapturePolicy::selection(
    std::string_view preferredUID, const std::vector<MicrophoneDevice>& devices) {
    using enum MicrophoneCaptureSelection::Kind;
    if (isSystemDefault(preferredUID)) return {systemDefault};
    const auto kind = contains(devices, preferredUID) ? explicitDevice : unavailableExplicit;
    return {kind, std::string(preferredUID)};
}

std::vector<MicrophoneDevice> MicrophoneCapturePolicy::offered(
    const std::vector<MicrophoneDevice>& present, std::string_view preferredUID) {
    std::vector<MicrophoneDevice> devices{MicrophoneDevice::systemDefault()};
    devices.insert(devices.end(), present.begin(), present.end());
    if (!contains(devices, preferredUID))
        devices.push_back(MicrophoneDevice::unavailable(std::string(preferredUID)));
    return devices;
}

} // namespace nimbe
