#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace nimbe {

/// A published build, as the update service tells of it.
struct UpdateManifest {
    std::string version; // for the user
    std::string build;   // a decimal number
    std::optional<std::string> uploadedAt = {};
    std::optional<std::string> notes = {};

    /// Absent when it is no JSON object, `version` or `build` is no string in it, or one of
    /// the others is there and neither a string nor null.
    [[nodiscard]] static std::optional<UpdateManifest> decode(std::string_view json);
    [[nodiscard]] std::string encode() const;

    /// Only the build numbers decide: decimal, with or without a sign, of 64 bits. One that
    /// is no such number is never newer, nor older.
    [[nodiscard]] bool isNewer(std::string_view runningBuild) const;

    friend bool operator==(const UpdateManifest&, const UpdateManifest&) = default;
};

/// The build that runs.
struct BuildStamp {
    std::optional<std::string> version = {};
    std::optional<std::string> build = {};

    /// "Nimbe 1.2 (120)", with "?" for what is absent.
    [[nodiscard]] std::string displayText() const;
};

} // namespace nimbe
