#pragma once

#include <array>
#include <string>
#include <string_view>

#include "NimbeEngine/Text/TextRule.h"

namespace nimbe {

/// Spoken parentheses, "new line" and "new paragraph" become what they name, and
/// the spacing around them is put right. "a new line" and the like keep their
/// words.
[[nodiscard]] std::string formatSpokenCommands(std::string_view text);

/// The same in place.
void formatSpokenCommands(std::u16string& text);

/// The replacements, in the order in which they are made.
[[nodiscard]] const std::array<TextRule, 7>& spokenCommandRules();

} // namespace nimbe
