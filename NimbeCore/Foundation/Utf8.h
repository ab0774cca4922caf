#pragma once

#include <string_view>

namespace nimbe::text {

/// Apart from Text, so that what only reads JSON starts without ICU's libraries.
[[nodiscard]] bool isValidUtf8(std::string_view bytes);

} // namespace nimbe::text
