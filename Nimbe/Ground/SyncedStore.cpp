#include "NimbeGround/SyncedStore.h"

#include <system_error>

#include "NimbeSync/HistorySyncPrompt.h"
#include "NimbeSync/PrivacySettings.h"
#include "PlatformSyncStorage/SqliteSyncDatabase.h"

namespace nimbe {
namespace {

SyncStoreOpening openOnDisk(const Ground& ground, bool isMirroringWanted) {
    SqliteSyncDatabaseOpener disk(ground.folders.syncFile(), ground.log);
    return SyncStoreOpening::open(isMirroringWanted, disk, nullptr, ground.log);
}

} // namespace

SyncedStore::Opened::Opened(Ground& ground, HistoryGround& history, bool isMirroringWanted)
    : opening(openOnDisk(ground, isMirroringWanted)),
      keys(history.places, ground.defaults, ground.log, [this] { return store.hasTranscripts(); }),
      key(keys, TranscriptKey::Use::readAndMake, ground.log),
      store(*opening.database, key, ground.log) {}

SyncedStore::SyncedStore(Ground& ground, HistoryGround& history, bool isForcedLocalOnly)
    : ground(ground), history(history), isForcedLocalOnly(isForcedLocalOnly) {}

bool SyncedStore::isWanted(HistoryLibrary::Need need) {
    using enum HistoryLibrary::Need;
    if (need == always || ground.defaults.get(HistorySyncPrompt::historyEnabled)) return true;
    std::error_code error;
    return std::filesystem::exists(ground.folders.syncFile(), error) || error;
}

HistoryLibrary::Synced SyncedStore::open(HistoryLibrary::Need need) {
    const std::lock_guard guard(lock);
    if (!opened) {
        if (!isWanted(need)) return {};
        const auto mode = PrivacySettings(ground.defaults).mode();
        opened.emplace(
            ground, history, SyncStoreOpening::isMirroringWanted({mode, isForcedLocalOnly}));
    }
    const auto& problem = opened->opening.problem;
    return {&opened->store, problem ? std::optional(problem->sentence()) : std::nullopt};
}

} // namespace nimbe
