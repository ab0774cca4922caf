#pragma once

#include <limits>
#include <string_view>
#include <vector>

#include "Foundation/Locale.h"
#include "NimbeKitCore/History/DictationEntry.h"

namespace nimbe {

/// Finds entries by a piece of their text.
struct HistoryFilter {
    static constexpr std::size_t all = std::numeric_limits<std::size_t>::max();

    /// The entries whose text holds the query, trimmed, as one piece, in their order;
    /// upper and lower case are the same by the rules of the locale's language. Any entry for
    /// a blank query. At most the first `limit`; linear in the length of the texts up to the
    /// last of them.
    [[nodiscard]] static std::vector<DictationEntry> matching(std::string_view query,
        const std::vector<DictationEntry>& in, const Locale& locale = Locale::forText(),
        std::size_t limit = all);

    /// The same by their places in the list, of those from `from` on.
    [[nodiscard]] static std::vector<std::size_t> places(std::string_view query,
        const std::vector<DictationEntry>& in, const Locale& locale, std::size_t from,
        std::size_t limit);
};

} // namespace nimbe
