#include "NimbeKitCore/History/HistoryFilter.h"

#include <algorithm>
#include <functional>

#include "Foundation/Text.h"

namespace nimbe {

std::vector<DictationEntry> HistoryFilter::matching(
    std::string_view query, std::vector<DictationEntry> in, const Locale& locale) {
    const auto wanted = text::folded(text::trimmed(query), locale);
    if (wanted.empty()) return in;
    const std::boyer_moore_horspool_searcher search(wanted.begin(), wanted.end());
    std::erase_if(in, [&](const DictationEntry& entry) {
        const auto text = text::folded(entry.text, locale);
        return std::search(text.begin(), text.end(), search) == text.end();
    });
    return in;
}

} // namespace nimbe
