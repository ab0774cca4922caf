#pragma once

#include <string>
#include <string_view>

#include "NimbeEngine/Text/TextRule.h"

namespace nimbe {

/// Applies the rule with a pattern compiled for this call and ICU's own
/// replacement of all matches, without scans and limits: what TextRule must
/// agree with.
[[nodiscard]] std::u16string plainlyApplied(
    const TextRule::Definition& rule, std::u16string_view text);

/// The whole path in that way.
[[nodiscard]] std::string plainlyFinished(std::string_view raw, bool preserveCase);

} // namespace nimbe
