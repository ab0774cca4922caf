#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "NimbeEngine/Speech/SpeechAssets.h"

namespace nimbe {

/// What is known of a locale's speech model.
struct SpeechModelProbe {
    bool supported = false;
    bool installed = false;
    bool installable = false;

    static constexpr std::string_view notInstalled =
        "The on-device speech model isn't installed yet and can't be prepared right now.";
    static constexpr std::string_view notSupported =
        "On-device dictation needs an iPhone with Apple Intelligence. It isn't available in this "
        "environment.";
    static constexpr std::string_view needsDownload =
        "Needs a one-time download of the on-device speech model. Connect to the internet and try "
        "again.";
    static constexpr std::string_view supportedStatus = "supported (not installed)";

    /// Absent when dictation can begin, or a download can be offered.
    [[nodiscard]] std::optional<std::string_view> message() const;
};

/// Whether a session can begin.
struct ModelReadiness {
    struct Unavailable {
        std::string_view message;
        friend bool operator==(const Unavailable&, const Unavailable&) = default;
    };
    struct Proceed {
        friend bool operator==(const Proceed&, const Proceed&) = default;
    };
    struct AwaitInstall {
        friend bool operator==(const AwaitInstall&, const AwaitInstall&) = default;
    };
    using Value = std::variant<Unavailable, Proceed, AwaitInstall>;

    /// With `override` every status proceeds.
    [[nodiscard]] static Value of(SpeechAssets::Status status, bool override = false);
};

} // namespace nimbe
