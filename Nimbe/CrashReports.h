#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace nimbe {

/// Where the system keeps reports of crashes, and how those of this program begin.
struct CrashReportFolder {
    std::filesystem::path folder;
    std::string prefix; // of a file's name

    // A folder that holds more is searched so far: some milliseconds for each thousand.
    static constexpr std::size_t mostFiles = 100'000;

    /// The file that was changed last among those of all folders; a folder that is not
    /// there or cannot be read has none.
    [[nodiscard]] static std::optional<std::filesystem::path> newest(
        const std::vector<CrashReportFolder>& folders);
};

} // namespace nimbe
