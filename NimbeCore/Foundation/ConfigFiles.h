#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

#include "Foundation/Result.h"

namespace nimbe {

/// Files in which other programs keep their settings. Any thread; blocks.
class ConfigFiles {
public:
    virtual ~ConfigFiles() = default;

    /// The whole file; absent: there is none. An error: it must not be read, is not a
    /// regular file, or is too long to hold settings.
    [[nodiscard]] virtual Result<std::optional<std::string>, std::error_code> read(
        const std::filesystem::path& file) = 0;

    /// Instead of what was read; std::errc::operation_canceled when that is not what is
    /// there any more, because its own program has written it meanwhile.
    /// The file is afterwards whole, or as it was before. Folders that are missing are
    /// made. A symbolic link stays one, and the file that it leads to is written;
    /// permissions stay and, as far as this process may decide, the owner. What is new is
    /// for the user alone: such files hold passwords.
    [[nodiscard]] virtual std::error_code replace(const std::filesystem::path& file,
        const std::optional<std::string>& before, std::string_view content) = 0;
};

} // namespace nimbe
