#include "ShellWiring.h"

#include <optional>
#include <ostream>

#include "NimbeKitCore/History/LocalKeychainKeyStore.h"
#include "NimbeShell/ShellLog.h"
#include "PlatformSecrets/SecretFileStore.h"
#include "PlatformSecrets/SecretServiceStore.h"
#include "PlatformSecrets/UnavailableSecretStore.h"
#include "PlatformStorage/AtomicFileWriter.h"
#include "PlatformStorage/DataFolders.h"
#include "PlatformStorage/SqliteUserDefaults.h"

namespace nimbe {
namespace {

/// All that stands behind the history, in the order in which it leans on each other.
struct HistoryStack {
    HistoryStack(const DataFolders& folders, std::ostream& error)
        : log(error), defaults(folders.settingsFile(), log), files(folders.data, log),
          keys(
              LocalKeychainKeyStore::Purpose::history(), {keychain(folders), files}, defaults, log),
          history(defaults, keys, log), services{history, embedder, writer, Calendar::user(),
                                            Date::now()} {}

    SecretStore& keychain(const DataFolders& folders) {
        if (folders.isPortable) return noKeyring;
        return keyring;
    }

    ShellLog log;
    SqliteUserDefaults defaults;
    SecretServiceStore keyring;
    UnavailableSecretStore noKeyring;
    SecretFileStore files;
    LocalKeychainKeyStore keys;
    DictationHistory history;
    UnavailableTextEmbedder embedder;
    AtomicFileWriter writer;
    HistoryServices services;
};

class LinuxShellServices final : public ShellServices {
public:
    const HistoryServices* history(std::ostream& error) override {
        if (stack) return &stack->services;
        const auto folders = DataFolders::find();
        if (!folders) {
            error << "nimbe: There is no place for your data: HOME names no absolute path.\n";
            return nullptr;
        }
        stack.emplace(*folders, error);
        return &stack->services;
    }

    /// Their store needs the web client, which this program does not link: it would
    /// slow the start of every verb.
    const ModelServices* models(std::ostream& error) override {
        error << "nimbe: This build cannot manage speech models.\n";
        return nullptr;
    }

private:
    std::optional<HistoryStack> stack;
};

} // namespace

std::unique_ptr<ShellServices> makeShellServices() {
    return std::make_unique<LinuxShellServices>();
}

} // namespace nimbe
