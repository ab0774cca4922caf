#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "Foundation/Log.h"
#include "NimbeSync/CloudDatabase.h"
#include "NimbeSync/PrivacyMode.h"
#include "NimbeSync/SyncDatabase.h"

namespace nimbe {

/// Opens the store on disk, making it where there is none. May take seconds while another
/// process holds it.
class SyncDatabaseOpener {
public:
    virtual ~SyncDatabaseOpener() = default;
    [[nodiscard]] virtual SyncResult<std::unique_ptr<SyncDatabase>> open() = 0;
};

/// Gets at the user's cloud, as far as that needs no network: whether there is an account.
class CloudDatabaseOpener {
public:
    virtual ~CloudDatabaseOpener() = default;
    [[nodiscard]] virtual Result<std::unique_ptr<CloudDatabase>, CloudError> open() = 0;
};

/// The store of this run: whatever fails, there is one that works.
struct SyncStoreOpening {
    enum class Kind {
        mirrored,  // on disk, with the cloud
        localOnly, // on disk
        inMemory   // ends with the program
    };

    Kind kind = Kind::inMemory;
    std::unique_ptr<SyncDatabase> database; // never null
    std::unique_ptr<CloudDatabase> cloud;   // there where mirrored
    std::optional<SyncError> problem = {};  // in memory: what keeps the one on disk away

    /// What may keep a launch from the cloud; any of it does.
    struct Wishes {
        PrivacyMode mode = PrivacyMode::privateICloudSync;
        bool isForcedLocalOnly = false; // by argument
        bool isForcedOnce = false;      // by the one-shot setting
    };
    [[nodiscard]] static bool isMirroringWanted(const Wishes& wishes);

    /// `cloud` may be absent: this build or user has none.
    [[nodiscard]] static SyncStoreOpening open(bool isMirroringWanted, SyncDatabaseOpener& disk,
        CloudDatabaseOpener* cloud, LogSink& sink);
};

} // namespace nimbe
