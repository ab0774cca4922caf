#pragma once

#include <array>
#include <optional>
#include <string_view>

namespace nimbe {

/// The context that a dictation was made for. Its raw string is the only form
/// that leaves the process: stored history, tool arguments, synced records.
enum class DictationMode { messaging, email, notes, coding };

/// In the order in which they are listed everywhere.
inline constexpr std::array allDictationModes{
    DictationMode::messaging, DictationMode::email, DictationMode::notes, DictationMode::coding};

[[nodiscard]] std::string_view rawValue(DictationMode mode);

/// Absent for any other string, upper case included.
[[nodiscard]] std::optional<DictationMode> dictationMode(std::string_view rawValue);

} // namespace nimbe
