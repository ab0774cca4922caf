#include "NimbeKitCore/History/HistoryFilter.h"

#include "Foundation/Text.h"

namespace nimbe {

std::vector<DictationEntry> HistoryFilter::matching(std::string_view query,
    const std::vector<DictationEntry>& in, const Locale& locale, std::size_t limit) {
    const auto wanted = text::trimmed(query);
    const text::CaselessSearch search(wanted, locale);
    std::vector<DictationEntry> found;
    for (const auto& entry : in) {
        if (found.size() >= limit) break;
        if (wanted.empty() || search.isFoundIn(entry.text)) found.push_back(entry);
    }
    return found;
}

} // namespace nimbe
