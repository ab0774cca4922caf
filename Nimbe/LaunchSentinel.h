#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "Foundation/Date.h"

namespace nimbe {

/// What a run leaves in its sentinel, a JSON object of some fifty bytes:
/// {"launchedAt": seconds since 1970, "consecutive": unclean ends in a row before it}.
struct LaunchSentinel {
    std::optional<Date> launchedAt = {};
    std::int64_t consecutive = 0;

    // More is damage: nobody starts a program that often.
    static constexpr std::int64_t mostConsecutive = 1'000'000;
    static constexpr std::size_t largest = 64 * 1024; // bytes

    /// What can be made of it: nothing but absences of what is no sentinel at all.
    [[nodiscard]] static LaunchSentinel decode(std::string_view json);
    [[nodiscard]] std::string encode() const;

    /// Absent when there is no such file. One that cannot be read, or is too large, is
    /// there all the same; a folder or a device of that name is not one.
    [[nodiscard]] static std::optional<LaunchSentinel> read(const std::filesystem::path& file);

    friend bool operator==(const LaunchSentinel&, const LaunchSentinel&) = default;
};

} // namespace nimbe
