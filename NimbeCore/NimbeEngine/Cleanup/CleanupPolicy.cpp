#include "NimbeEngine/Cleanup/CleanupPolicy.h"

#include <algorithm>

#include "Foundation/Text.h"

namespace nimbe {

bool CleanupPolicy::accepts(std::string_view source, std::string_view cleaned) {
    const auto trimmed = text::trimmed(cleaned);
    // No character takes less than a byte: the counting can often be spared.
    if (trimmed.size() <= alwaysAccepted) return true;
    const auto count = text::characterCount(trimmed);
    if (count <= alwaysAccepted) return true;
    const auto said = static_cast<double>(text::characterCount(text::trimmed(source)));
    return count <= std::max(static_cast<std::size_t>(said * mostGrowth), alwaysAccepted);
}

} // namespace nimbe
