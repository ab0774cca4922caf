#pragma once

#include <mutex>
#include <optional>

#include "NimbeGround/Ground.h"
#include "NimbeSync/HistoryLibrary.h"
#include "NimbeSync/KeychainKeyStore.h"
#include "NimbeSync/SyncStoreOpening.h"

namespace nimbe {

/// The synced store of this program, opened when it is first needed. Any thread.
class SyncedStore {
public:
    /// Lent; both outlive this. `isForcedLocalOnly`: this launch goes without a cloud.
    SyncedStore(Ground& ground, HistoryGround& history, bool isForcedLocalOnly);

    [[nodiscard]] HistoryLibrary::Synced open(HistoryLibrary::Need need);

private:
    struct Opened {
        Opened(Ground& ground, HistoryGround& history, bool isMirroringWanted);

        SyncStoreOpening opening;
        KeychainKeyStore keys;
        TranscriptKey key;
        SyncStore store;
    };

    Ground& ground;
    HistoryGround& history;
    bool isForcedLocalOnly;
    std::mutex lock;
    std::optional<Opened> opened;

    [[nodiscard]] bool isWanted(HistoryLibrary::Need need);
};

} // namespace nimbe
