#include "NimbeSync/SyncStoreOpening.h"

#include "NimbeSync/MemorySyncDatabase.h"

namespace nimbe {

bool SyncStoreOpening::isMirroringWanted(const Wishes& wishes) {
    return wishes.mode == PrivacyMode::privateICloudSync && !wishes.isForcedLocalOnly &&
           !wishes.isForcedOnce;
}

SyncStoreOpening SyncStoreOpening::open(
    bool isMirroringWanted, SyncDatabaseOpener& disk, CloudDatabaseOpener* cloud, LogSink& sink) {
    const Log log(sink, "sync");
    const bool isCloudTried = isMirroringWanted && cloud;
    constexpr const char* withoutCloud = "CloudKit store unavailable, using local-only: %s";

    auto database = disk.open();
    // Opened with the cloud or without, it is the same file: no second try would fare better.
    if (!database) {
        if (isCloudTried) log.error(withoutCloud, database.error().detail.c_str());
        log.error("local store unavailable, using in-memory: %s", database.error().detail.c_str());
        return {Kind::inMemory, std::make_unique<MemorySyncDatabase>(), nullptr, database.error()};
    }
    if (isCloudTried) {
        auto opened = cloud->open();
        if (opened) return {Kind::mirrored, std::move(*database), std::move(*opened)};
        log.error(withoutCloud, opened.error().detail.c_str());
    }
    return {Kind::localOnly, std::move(*database), nullptr};
}

} // namespace nimbe
