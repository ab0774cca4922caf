#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "Foundation/UserDefaults.h"

namespace nimbe {

/// RFC 4648, section 4, on one line.
[[nodiscard]] std::string base64Encoded(const Bytes& bytes);

/// Absent for anything that base64Encoded would not have written itself.
[[nodiscard]] std::optional<Bytes> base64Decoded(std::string_view text);

} // namespace nimbe
