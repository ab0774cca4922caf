#pragma once

#include <array>
#include <string>
#include <string_view>

#include "NimbeEngine/Text/TextRule.h"

namespace nimbe {

/// Filler words go, and the commas and spaces that they leave. A text that began
/// with one begins with a capital then, unless `preserveCase`. A text of nothing
/// but fillers becomes empty.
[[nodiscard]] std::string stripFillers(std::string_view text, bool preserveCase);

/// The same in place.
void stripFillers(std::u16string& text, bool preserveCase);

/// The replacements, in the order in which they are made.
[[nodiscard]] const std::array<TextRule, 5>& fillerRules();

/// White space, then a filler, at the start of a text.
[[nodiscard]] const Regex& leadingFiller();

} // namespace nimbe
