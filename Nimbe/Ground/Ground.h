#pragma once

#include "NimbeApp/HearingModule.h"
#include "NimbeGround/LoadedKeyring.h"
#include "NimbeKitCore/History/DictationHistory.h"
#include "NimbeKitCore/History/LocalKeychainKeyStore.h"
#include "PlatformSecrets/SecretFileStore.h"
#include "PlatformSecrets/UnavailableSecretStore.h"
#include "PlatformStorage/DataFolders.h"
#include "PlatformStorage/SqliteUserDefaults.h"

namespace nimbe {

/// What every mode stands on that knows the user's data.
struct Ground {
    using Access = SqliteUserDefaults::Access;
    Ground(DataFolders folders, LogSink& log, Access access = Access::full)
        : folders(std::move(folders)), log(log),
          defaults(this->folders.settingsFile(), log, access) {}

    DataFolders folders;
    LogSink& log;
    SqliteUserDefaults defaults;
};

/// The history, with all that stands behind it in the order in which it leans on each
/// other.
struct HistoryGround {
    explicit HistoryGround(Ground& ground);

    LoadedKeyring keyring;
    UnavailableSecretStore noKeyring;
    SecretFileStore files;
    LocalKeychainKeyStore::Places places; // of other keys too
    LocalKeychainKeyStore keys;
    DictationHistory history;

private:
    /// What NIMBE_HOME names stands by itself: its key too.
    [[nodiscard]] SecretStore& keychain(const DataFolders& folders);
};

[[nodiscard]] HearingModule::ModelFolders modelFolders(const DataFolders& folders);

} // namespace nimbe
