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
bool isNewer(const MemoryRecord& left, const MemoryRecord& right) {
    return std::is_gt(
        std::strong_order(left.createdAt.sinceReference, right.createdAt.sinceReference));
}

void sortNewestFirst(MemoryRecords& records) {
    std::stable_sort(records.begin(), records.end(), isNewer);
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

/// Both newest first; those whose id is there already, or among `without`, are left out.
void addOthers(MemoryRecords& own, const MemoryRecords& others,
    const std::unordered_set<std::string>& without) {
    auto ids = without;
    for (const auto& each : own) ids.insert(each.id);
    const auto middle = static_cast<std::ptrdiff_t>(own.size());
    std::copy_if(others.begin(), others.end(), std::back_inserter(own),
        [&](const auto& each) { return !ids.contains(each.id); });
    std::inplace_merge(own.begin(), own.begin() + middle, own.end(), isNewer);
}

} // namespace

HistoryRecordSource::HistoryRecordSource(
    DictationHistory& history, Synced synced, Revision revision)
    : history(history), synced(std::move(synced)), revision(std::move(revision)) {}

std::shared_ptr<const MemoryRecords> HistoryRecordSource::records() {
    // Before the entries: a change that comes between the two is then seen next time.
    const auto now = revision ? revision() : std::nullopt;
    const bool areComplete = transcripts.has_value();
    if (!areComplete) readTranscripts();
    const bool isUnchanged = merged && transcripts.has_value() == areComplete;
    if (isUnchanged && now && now == seenRevision) return merged;
    const auto deletedBefore = deleted.size();
    for (const auto& id : history.trashedIDs()) deleted.insert(id.text());
    auto entries = history.entries();
    // What could not be read may be readable next time without any change of the store.
    seenRevision = history.problem() ? std::nullopt : now;
    const bool isAnyDeleted = deleted.size() > deletedBefore;
    if (isUnchanged && !isAnyDeleted && entries == seenEntries) return merged;
    seenEntries = std::move(entries);
    merge();
    return merged;
}

void HistoryRecordSource::readTranscripts() {
    auto opened = synced();
    if (!opened) return;
    auto& records = transcripts.emplace();
    records.reserve(opened->size());
    for (auto& each : *opened)
        records.push_back({each.id.text(), text::mended(std::move(each.text)), each.createdAt,
            text::mended(std::move(each.mode))});
    dropRepeated(records);
    sortNewestFirst(records);
}

void HistoryRecordSource::merge() {
    MemoryRecords all;
    if (transcripts) all.reserve(seenEntries.size() + transcripts->size());
    for (const auto& entry : seenEntries) all.push_back(record(entry));
    dropRepeated(all);
    sortNewestFirst(all);
    if (transcripts) addOthers(all, *transcripts, deleted);
    merged = std::make_shared<const MemoryRecords>(std::move(all));
}

} // namespace nimbe
