#pragma once

#include <cstdint>
#include <filesystem>
#include <stop_token>
#include <string>
#include <system_error>

#include "Foundation/Result.h"

namespace nimbe {

/// The SHA-256 of a file's content, as lower-case hexadecimal digits. Any thread. When
/// it is stopped: std::errc::operation_canceled.
[[nodiscard]] Result<std::string, std::error_code> sha256OfFile(
    const std::filesystem::path& file, const std::stop_token& stop);

} // namespace nimbe
