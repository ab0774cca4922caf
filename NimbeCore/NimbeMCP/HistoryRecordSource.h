#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <unordered_set>
#include <vector>

#include "NimbeKitCore/History/DictationHistory.h"
#include "NimbeMCP/MemoryRecord.h"
#include "NimbeSync/DecryptedTranscript.h"

namespace nimbe {

/// The device's own history and the synced transcripts as one list. A dictation that is in
/// both is the history's. The history is read at every call, unless its revision tells that
/// there is no need; the transcripts once, as soon as they can be. Of those the ones that are
/// in the history's trash, or were at an earlier call, are left out: what the user deletes
/// does not stay readable until this ends.
class HistoryRecordSource final : public MemoryRecordSource {
public:
    /// Those that can be opened; absent: not now, it is asked again at the next call.
    using Synced = std::function<std::optional<std::vector<DecryptedTranscript>>()>;
    /// A number that is another one after every change of what the history is read from;
    /// absent when that cannot be told.
    using Revision = std::function<std::optional<std::int64_t>()>;

    /// Lent; must outlive this.
    HistoryRecordSource(DictationHistory& history, Synced synced, Revision revision = {});

    [[nodiscard]] std::shared_ptr<const MemoryRecords> records() override;

private:
    DictationHistory& history;
    Synced synced;
    Revision revision;

    std::optional<std::int64_t> seenRevision;
    std::vector<DictationEntry> seenEntries;
    std::unordered_set<std::string> deleted;
    std::optional<MemoryRecords> transcripts;
    std::shared_ptr<const MemoryRecords> merged;

    void readTranscripts();
    void merge();
};

} // namespace nimbe
