#include <exception>
#include <openssl/crypto.h>
#include <optional>
#include <string>

#include "NimbeGround/Ground.h"
#include "NimbeMCP/HistoryRecordSource.h"
#include "NimbeMCP/HistoryTools.h"
#include "NimbeMCP/LocalHistoryBackend.h"
#include "NimbeMCPMode/Report.h"
#include "NimbeMCPMode/ToolsModule.h"
#include "NimbeSync/KeychainKeyStore.h"
#include "NimbeSync/SyncStore.h"
#include "PlatformSyncStorage/SqliteSyncDatabase.h"
#include "QuietLog.h"

namespace nimbe {
namespace {

/// The synced store beside the history, with its key where the history's is.
struct Transcripts {
    Transcripts(Ground& ground, LocalKeychainKeyStore::Places places)
        : database(ground.folders.syncFile(), SyncFile::Use::read, ground.log),
          keys(places, ground.defaults, ground.log, [this] { return store.hasTranscripts(); }),
          key(keys, TranscriptKey::Use::read, ground.log), store(database, key, ground.log) {}

    SqliteSyncDatabase database;
    KeychainKeyStore keys;
    TranscriptKey key;
    SyncStore store;

    [[nodiscard]] std::optional<std::vector<DecryptedTranscript>> read() {
        auto opened = store.transcripts();
        // A locked keyring may be open at the next call.
        if (opened.empty() && store.problem()) return std::nullopt;
        return opened;
    }
};

/// What stands behind the records, in the order in which it leans on each other.
struct Stores {
    Stores(DataFolders folders, LogSink& log)
        : ground(std::move(folders), log, SqliteUserDefaults::Access::readOnly), history(ground),
          transcripts(ground, history.places),
          source(
              history.history, [this] { return transcripts.read(); },
              [this] { return ground.defaults.revision(); }) {}

    Ground ground;
    HistoryGround history;
    Transcripts transcripts;
    HistoryRecordSource source;

    /// What keeps records away, for the user; the history's own comes first.
    [[nodiscard]] std::string problem() const {
        if (const auto ours = history.history.problem()) return std::string(ours->sentence);
        return std::string(transcripts.store.problem().value_or(""));
    }
};

/// The user's dictations, opened when somebody asks for them.
class Dictations final : public MemoryRecordSource {
public:
    std::shared_ptr<const MemoryRecords> records() override {
        if (!stores) {
            auto folders = DataFolders::find();
            if (!folders) return withoutFolders();
            // Its configuration file says nothing about opening with AES, and costs half a
            // millisecond.
            OPENSSL_init_crypto(OPENSSL_INIT_NO_LOAD_CONFIG, nullptr);
            stores.emplace(std::move(*folders), log);
        }
        auto records = stores->source.records();
        reportProblem();
        return records;
    }

private:
    QuietLog log;
    std::optional<Stores> stores;
    std::string reported;
    std::shared_ptr<const MemoryRecords> none;

    std::shared_ptr<const MemoryRecords> withoutFolders() {
        if (!none) {
            report("There is no place for your data: HOME names no absolute path.");
            none = std::make_shared<const MemoryRecords>();
        }
        return none;
    }

    /// Once, until it is another one.
    void reportProblem() {
        auto problem = stores->problem();
        const auto cause = log.take();
        if (!problem.empty() && problem != reported) {
            const bool saysMore = !cause.empty() && cause.find(problem) == cause.npos;
            report(saysMore ? problem + " (" + cause + ")" : problem);
        }
        reported = std::move(problem);
    }
};

class LinuxTools final : public ToolsModule {
public:
    Result<std::string, std::string> call(std::string_view name, const Json& arguments) override {
        try {
            return tools.call(name, arguments);
        } catch (const std::exception& error) {
            return failure(std::string(error.what()));
        }
    }

private:
    Dictations dictations;
    LocalHistoryBackend backend{dictations};
    HistoryTools tools{backend};
};

} // namespace
} // namespace nimbe

extern "C" __attribute__((visibility("default"))) nimbe::ToolsModule* nimbeToolsModule() {
    static nimbe::LinuxTools tools;
    return &tools;
}
