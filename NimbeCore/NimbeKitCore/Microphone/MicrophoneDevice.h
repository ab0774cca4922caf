#pragma once

#include <string>

namespace nimbe {

/// A microphone as the user chooses it.
struct MicrophoneDevice {
    std::string uid;  // the platform's persistent identifier
    std::string name; // for the user

    /// Stands for whichever device the system has as its default; part of the stored
    /// preference.
    static constexpr const char* systemDefaultUID = "__nimbe_system_default__";
    [[nodiscard]] static MicrophoneDevice systemDefault() {
        return {systemDefaultUID, "System Default"};
    }
    /// A chosen device that is not there, so that the choice stays visible.
    [[nodiscard]] static MicrophoneDevice unavailable(std::string uid) {
        return {std::move(uid), "Selected microphone (unavailable)"};
    }

    friend bool operator==(const MicrophoneDevice&, const MicrophoneDevice&) = default;
};

} // namespace nimbe
