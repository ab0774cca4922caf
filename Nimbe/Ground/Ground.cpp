#include "NimbeGround/Ground.h"

#include <string_view>
#include <system_error>

namespace nimbe {

HistoryGround::HistoryGround(Ground& ground)
    : files(ground.folders.data, ground.log), places{keychain(ground.folders), files},
      keys(LocalKeychainKeyStore::Purpose::history(), places, ground.defaults, ground.log),
      history(ground.defaults, keys, ground.log) {}

SecretStore& HistoryGround::keychain(const DataFolders& folders) {
    if (folders.isPortable) return noKeyring;
    return keyring;
}

std::filesystem::path executablePath() {
    std::error_code error;
    const auto path = std::filesystem::read_symlink("/proc/self/exe", error);
    // proc(5): what the kernel adds when the file has gone.
    constexpr std::string_view gone = " (deleted)";
    const auto& name = path.native();
    if (!name.ends_with(gone) || std::filesystem::exists(path, error)) return path;
    return name.substr(0, name.size() - gone.size());
}

std::filesystem::path programFolder() {
    return executablePath().parent_path().parent_path();
}

HearingModule::ModelFolders modelFolders(const DataFolders& folders) {
    return {folders.data / "models", folders.cache / "models",
        programFolder() / "share" / "nimbe" / "models"};
}

} // namespace nimbe
