#pragma once

#include <string>
#include <string_view>

namespace nimbe {

/// Mends the recogniser's "between $0.25,000" into "between $0 and $25,000".
[[nodiscard]] std::string fixDollarRanges(std::string_view text);

/// Turns the first spoken enumeration ("…, one, …, and two, …[, and three, …].")
/// into a numbered list under its lead-in. Any other text is unchanged.
[[nodiscard]] std::string formatEnumerations(std::string_view text);

/// Dollar ranges, then enumerations.
[[nodiscard]] std::string formatSpokenStructure(std::string_view text);

} // namespace nimbe
