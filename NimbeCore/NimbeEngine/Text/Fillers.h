#pragma once

#include <array>
#include <string>
#include <string_view>

#include "NimbeEngine/Text/TextRule.h"

namespace nimbe {

/// Filler words go, each with the comma behind it, and the doubled commas and
/// spaces that they leave; other punctuation stays. A text that began with one
/// begins with a capital then, unless `preserveCase`. A text of nothing but
/// fillers, commas and white space becomes empty.
[[nodiscard]] std::string stripFillers(std::string_view text, bool preserveCase);

/// The same in place.
void stripFillers(std::u16string& text, bool preserveCase);

/// The replacements, in the order in which they are made.
[[nodiscard]] const std::array<TextRule, 5>& fillerRules();

/// White space, then a filler, at the start of a text.
[[nodiscard]] const Regex& leadingFiller();

} // namespace nimbe
