#include <cstdio>
#include <cstdlib>
#include <unistd.h>

#include "Fakes/FakeLogSink.h"
#include "Fakes/FakeSecretStore.h"
#include "NimbeKitCore/History/DictationHistory.h"
#include "NimbeKitCore/History/LocalKeychainKeyStore.h"
#include "PlatformSecrets/SecretFileStore.h"
#include "PlatformStorage/SqliteUserDefaults.h"

// Appends COUNT entries to the history in FOLDER, with its key in a file there, and
// writes the id of each once it is stored. HistoryKillTests kills it meanwhile.

int main(int argc, char** argv) {
    using namespace nimbe;
    if (argc != 3) return 2;
    const std::filesystem::path folder = argv[1];
    StandardErrorLog log(LogLevel::warning);
    FakeSecretStore noKeyring;
    noKeyring.error = KeyStoreError::Kind::unreachable;
    SecretFileStore files(folder, log);
    SqliteUserDefaults defaults(folder / "settings.sqlite", log);
    LocalKeychainKeyStore keys(
        LocalKeychainKeyStore::Purpose::history(), {noKeyring, files}, defaults, log);
    DictationHistory history(defaults, keys, log);
    for (int i = std::atoi(argv[2]); i > 0; --i) {
        const auto entry = history.append(std::string(300, 'x'), DictationMode::notes, Date::now());
        if (history.problem()) return 3;
        const auto line = entry.id.text() + "\n";
        // One write, whole even when the next instruction is the last.
        if (::write(STDOUT_FILENO, line.data(), line.size()) < 0) return 4;
    }
    return 0;
}
