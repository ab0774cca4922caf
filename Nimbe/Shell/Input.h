#pragma once

#include <iosfwd>
#include <optional>
#include <string>

namespace nimbe {

inline constexpr std::size_t largestInput = std::size_t{256} << 20;

/// All of a verb's input as UTF-8, without a line end at its end; at most 256 MiB.
/// Bytes that are not UTF-8 become U+FFFD with a note. Absent, with a message that
/// begins with the verb's name, when it cannot be had.
[[nodiscard]] std::optional<std::string> readText(
    std::istream& input, const char* verb, std::ostream& error);

/// All of a verb's input as it comes. False, with a message, when it cannot be read or is
/// longer than `largest`, whole MiB; `bytes` is what was read until then.
[[nodiscard]] bool readBytes(std::istream& input, std::size_t largest, const char* verb,
    std::ostream& error, std::string& bytes);

/// The bytes as readText() has them.
[[nodiscard]] std::string textOf(std::string bytes, const char* verb, std::ostream& error);

} // namespace nimbe
