#include "NimbeGround/Ground.h"

#include "NimbeLoader/ProgramPlace.h"

namespace nimbe {

HistoryGround::HistoryGround(Ground& ground)
    : files(ground.folders.data, ground.log), places{keychain(ground.folders), files},
      keys(LocalKeychainKeyStore::Purpose::history(), places, ground.defaults, ground.log),
      history(ground.defaults, keys, ground.log) {}

SecretStore& HistoryGround::keychain(const DataFolders& folders) {
    if (folders.isPortable) return noKeyring;
    return keyring;
}

HearingModule::ModelFolders modelFolders(const DataFolders& folders) {
    return {folders.data / "models", folders.cache / "models",
        programFolder() / "share" / "nimbe" / "models"};
}

} // namespace nimbe
