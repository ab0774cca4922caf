#pragma once

#include <string_view>
#include <vector>

#include "Foundation/Locale.h"
#include "NimbeKitCore/History/DictationEntry.h"

namespace nimbe {

/// Finds entries by a piece of their text.
struct HistoryFilter {
    /// The entries whose text holds the query, trimmed, as one piece, in their order;
    /// upper and lower case are the same by the rules of the locale's language. All
    /// entries for a blank query. Linear in the length of the texts.
    [[nodiscard]] static std::vector<DictationEntry> matching(std::string_view query,
        std::vector<DictationEntry> in, const Locale& locale = Locale::forText());
};

} // namespace nimbe
