#include "NimbeKitCore/History/HistoryFilter.h"

#include "Foundation/Text.h"

namespace nimbe {

std::vector<DictationEntry> HistoryFilter::matching(std::string_view query,
    const std::vector<DictationEntry>& in, const Locale& locale, std::size_t limit) {
    std::vector<DictationEntry> found;
    for (const auto place : places(query, in, locale, 0, limit)) found.push_back(in[place]);
    return found;
}

std::vector<std::size_t> HistoryFilter::places(std::string_view query,
    const std::vector<DictationEntry>& in, const Locale& locale, std::size_t from,
    std::size_t limit) {
    const auto wanted = text::trimmed(query);
    const text::CaselessSearch search(wanted, locale);
    std::vector<std::size_t> found;
    for (auto place = from; place < in.size() && found.size() < limit; ++place)
        if (wanted.empty() || search.isFoundIn(in[place].text)) found.push_back(place);
    return found;
}

} // namespace nimbe
