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
#include "NimbeMCPMode/StandardStreams.h"

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

/// What stands behind the records, in the order in which it leans on each other.
struct Stores {
    Stores(DataFolders folders, LogSink& log)
        : ground(std::move(folders), log, SqliteUserDefaults::Access::readOnly), history(ground),
          source(
              history.history, [] { return std::vector<DecryptedTranscript>(); },
              [this] { return ground.defaults.revision(); }) {}

    Ground ground;
    HistoryGround history;
    HistoryRecordSource source;
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
    std::optional<HistoryProblem::Kind> reported;
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
        const auto problem = stores->history.history.problem();
        const auto cause = log.take();
        if (problem && problem->kind != reported) {
            std::string line(problem->sentence);
            if (!cause.empty() && cause.find(line) == cause.npos) line += " (" + cause + ")";
            report(line);
        }
        reported = problem ? std::optional(problem->kind) : std::nullopt;
    }
};

} // namespace

int runMCPMode() {
    StandardStreams streams;
    report(std::string("ready (") + version + ")");
    Dictations dictations;
    LocalHistoryBackend backend(dictations);
    MCPServer server(backend, version);
    MCPStdioLoop(server, streams).run();
    return 0;
}

} // namespace nimbe
