#include "NimbeSync/HistoryFeed.h"

#include <algorithm>

namespace nimbe {

HistoryFeed::HistoryFeed(std::vector<DictationEntry> local, std::vector<DecryptedTranscript> synced)
    : list(std::move(local)) {
    std::set<UUID> seen;
    std::erase_if(list, [&](const DictationEntry& entry) { return !seen.insert(entry.id).second; });
    list.reserve(list.size() + synced.size());
    for (auto& transcript : synced) {
        if (!seen.insert(transcript.id).second) continue;
        syncedOnly.insert(transcript.id);
        list.push_back({transcript.id, std::move(transcript.text), transcript.createdAt,
            dictationMode(transcript.mode).value_or(DictationMode::messaging),
            std::move(transcript.originalText)});
    }
    // `>` on a date that is no number holds for no pair: such an order would be none.
    std::stable_sort(list.begin(), list.end(), [](const auto& left, const auto& right) {
        return std::is_gt(
            std::strong_order(left.timestamp.sinceReference, right.timestamp.sinceReference));
    });
}

} // namespace nimbe
