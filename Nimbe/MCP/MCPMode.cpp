#include "NimbeMCPMode/MCPMode.h"

#include <cstdio>
#include <openssl/crypto.h>
#include <optional>
#include <string>

#include "NimbeGround/Ground.h"
#include "NimbeMCP/HistoryRecordSource.h"
#include "NimbeMCP/LocalHistoryBackend.h"
#include "NimbeMCP/MCPServer.h"
#include "NimbeMCP/MCPStdioLoop.h"
#include "NimbeMCPMode/QuietLog.h"
#include "NimbeMCPMode/SessionBusPlace.h"
#include "NimbeMCPMode/StandardStreams.h"
#include "NimbeSync/KeychainKeyStore.h"
#include "NimbeSync/SyncStore.h"
#include "PlatformSyncStorage/SqliteSyncDatabase.h"

namespace nimbe {
namespace {

#ifdef NIMBE_VERSION
constexpr const char* version = NIMBE_VERSION;
#else
constexpr const char* version = "0.1.0";
#endif

void report(std::string line) {
    line.insert(0, "nimbe-mcp: ").append("\n");
    std::fwrite(line.data(), 1, line.size(), stderr);
}

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

} // namespace

int runMCPMode() {
    StandardStreams streams;
    SessionBusPlace::adopt();
    report(std::string("ready (") + version + ")");
    Dictations dictations;
    LocalHistoryBackend backend(dictations);
    MCPServer server(backend, version);
    MCPStdioLoop(server, streams).run();
    return 0;
}

} // namespace nimbe
