#include "NimbeSync/HistoryFeed.h"

#include <algorithm>
#include <map>

namespace nimbe {

HistoryFeed::HistoryFeed(std::vector<DictationEntry> local, std::vector<DecryptedTranscript> synced)
    : list(std::move(local)) {
    std::map<UUID, std::optional<std::size_t>> seen; // where among the local ones
    std::erase_if(
        list, [&](const DictationEntry& entry) { return !seen.try_emplace(entry.id).second; });
    for (std::size_t at = 0; at < list.size(); ++at) seen[list[at].id] = at;
    list.reserve(list.size() + synced.size());
    for (auto& transcript : synced) {
        const auto [known, isNew] = seen.try_emplace(transcript.id);
        if (isNew) {
            list.push_back(entry(std::move(transcript)));
        } else if (known->second) {
            auto& shown = list[*known->second];
            if (!shown.originalText && transcript.originalText != shown.text)
                shown.originalText = std::move(transcript.originalText);
        }
    }
    // `>` on a date that is no number holds for no pair: such an order would be none.
    std::stable_sort(list.begin(), list.end(), [](const auto& left, const auto& right) {
        return std::is_gt(
            std::strong_order(left.timestamp.sinceReference, right.timestamp.sinceReference));
    });
}

DictationEntry HistoryFeed::entry(DecryptedTranscript transcript) {
    if (transcript.originalText == transcript.text) transcript.originalText.reset();
    return {transcript.id, std::move(transcript.text), transcript.createdAt,
        dictationMode(transcript.mode).value_or(DictationMode::messaging),
        std::move(transcript.originalText)};
}

} // namespace nimbe
