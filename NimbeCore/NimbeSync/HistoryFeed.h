#pragma once

#include <vector>

#include "NimbeKitCore/History/DictationEntry.h"
#include "NimbeSync/DecryptedTranscript.h"

namespace nimbe {

/// What the notes window lists: the device's own history and the synced store as one.
/// Pure; n log n in their length.
class HistoryFeed {
public:
    HistoryFeed() = default;
    /// One entry an id, of which the local one wins; newest first, at the same time the
    /// local ones, each in its own order. A local entry that was not edited shows what was
    /// said before its cleanup, which the other knows, as its original.
    HistoryFeed(std::vector<DictationEntry> local, std::vector<DecryptedTranscript> synced);

    [[nodiscard]] const std::vector<DictationEntry>& entries() const& { return list; }
    [[nodiscard]] std::vector<DictationEntry> entries() && { return std::move(list); }

    /// A mode that this version does not know becomes messaging.
    [[nodiscard]] static DictationEntry entry(DecryptedTranscript transcript);

private:
    std::vector<DictationEntry> list;
};

} // namespace nimbe
