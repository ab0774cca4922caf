#include "NimbeKitCore/History/HistoryFilter.h"

#include "Foundation/Text.h"

namespace nimbe {

std::vector<DictationEntry> HistoryFilter::matching(
    std::string_view query, std::vector<DictationEntry> in, const Locale& locale) {
    const auto wanted = text::trimmed(query);
    if (wanted.empty()) return in;
    const text::CaselessSearch search(wanted, locale);
    std::erase_if(in, [&](const auto& entry) { return !search.isFoundIn(entry.text); });
    return in;
}

} // namespace nimbe
