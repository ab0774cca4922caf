#include "NimbeMCP/HistoryRecordSource.h"

#include <algorithm>
#include <compare>
#include <unordered_set>

#include "Foundation/Text.h"

namespace nimbe {
namespace {

MemoryRecord record(const DictationEntry& entry) {
    return {entry.id.text(), entry.text, entry.timestamp, std::string(rawValue(entry.mode))};
}

/// A total order also where a date is not a number.
void sortNewestFirst(MemoryRecords& records) {
    std::stable_sort(records.begin(), records.end(), [](const auto& left, const auto& right) {
        return std::strong_order(left.createdAt.sinceReference, right.createdAt.sinceReference) > 0;
    });
}

/// The first of an id stays.
void dropRepeated(MemoryRecords& records) {
    std::unordered_set<std::string_view> seen;
    seen.reserve(records.size());
    std::vector<bool> isRepeated;
    isRepeated.reserve(records.size());
    for (const auto& each : records) isRepeated.push_back(!seen.insert(each.id).second);
    seen.clear(); // the ids move
    std::size_t at = 0;
    std::erase_if(records, [&](const auto&) { return isRepeated[at++]; });
}

} // namespace

HistoryRecordSource::HistoryRecordSource(
    DictationHistory& history, Synced synced, Revision revision)
    : history(history), synced(std::move(synced)), revision(std::move(revision)) {}

std::shared_ptr<const MemoryRecords> HistoryRecordSource::records() {
    // Before the entries: a change that comes between the two is then seen next time.
    const auto now = revision ? revision() : std::nullopt;
    if (merged && now && now == seenRevision) return merged;
    auto entries = history.entries();
    // What could not be read may be readable next time without any change of the store.
    seenRevision = history.problem() ? std::nullopt : now;
    if (merged && entries == seenEntries) return merged;
    seenEntries = std::move(entries);
    if (!transcripts) readTranscripts();
    merge();
    return merged;
}

void HistoryRecordSource::readTranscripts() {
    auto& records = transcripts.emplace();
    if (!synced) return;
    auto opened = synced();
    records.reserve(opened.size());
    for (auto& each : opened)
        records.push_back({each.id.text(), text::mended(std::move(each.text)), each.createdAt,
            text::mended(std::move(each.mode))});
    dropRepeated(records);
    sortNewestFirst(records);
}

void HistoryRecordSource::merge() {
    MemoryRecords all;
    all.reserve(seenEntries.size() + transcripts->size());
    for (const auto& entry : seenEntries) all.push_back(record(entry));
    dropRepeated(all);
    std::unordered_set<std::string> own;
    for (const auto& each : all) own.insert(each.id);
    sortNewestFirst(all);
    const auto middle = static_cast<std::ptrdiff_t>(all.size());
    std::copy_if(transcripts->begin(), transcripts->end(), std::back_inserter(all),
        [&](const auto& each) { return !own.contains(each.id); });
    std::inplace_merge(
        all.begin(), all.begin() + middle, all.end(), [](const auto& left, const auto& right) {
            return std::strong_order(
                       left.createdAt.sinceReference, right.createdAt.sinceReference) > 0;
        });
    merged = std::make_shared<const MemoryRecords>(std::move(all));
}

} // namespace nimbe
