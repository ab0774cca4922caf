#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "Foundation/Log.h"
#include "Foundation/Published.h"
#include "Foundation/TaskScope.h"
#include "NimbeSync/CloudDatabase.h"
#include "NimbeSync/SyncDatabase.h"
#include "NimbeSync/TranscriptKey.h"

namespace nimbe {

/// Keeps the store and the user's cloud alike: pulls what others have changed, merges it
/// (RecordMerger), pushes what was changed here, and again until neither side has news.
///
/// What happens at any moment, an end of the program too, loses nothing: the store knows what
/// the cloud may lack, and a page is merged whole or not at all. Main actor.
class CloudMirror {
public:
    static constexpr Seconds interval = 60;  // without news from here
    static constexpr Seconds gathering = 2;  // after a change here, for those that follow
    static constexpr Seconds deadline = 30;  // of one answer
    static constexpr Seconds firstRetry = 5; // doubled with each failure
    static constexpr Seconds lastRetry = 900;
    static constexpr std::size_t batch = 100; // records in one push

    /// Lent; all outlive the mirror.
    struct Platform {
        MainActor& actor;
        SyncDatabase& database;
        TranscriptKey& key;
        CloudDatabase& cloud;
        LogSink& log;
    };
    explicit CloudMirror(Platform platform);
    CloudMirror(const CloudMirror&) = delete;
    CloudMirror& operator=(const CloudMirror&) = delete;

    enum class Phase { idle, working, upToDate, waiting };
    struct Status {
        Phase phase = Phase::idle;
        std::string_view problem = {}; // for the user, while it waits to try again
        /// Rises when others' changes came into the store: what shows it must fetch anew.
        std::int64_t news = 0;
        friend bool operator==(const Status&, const Status&) = default;
    };
    Published<Status> _status;

    /// Now, and from then on as long as it lives.
    void start();
    /// Something was changed here. Does not cut a wait after a failure short.
    void noteChange();

private:
    enum class Round { upToDate, again, failed };

    Platform platform;
    Log log;
    std::optional<SymmetricKey> key; // as the running round has it
    bool hasReopened = false;        // what can be read with it
    std::int64_t news = 0;
    int failures = 0;           // in a row
    bool isChangeNoted = false; // while a round ran
    std::string_view lastProblem;
    Token timer;
    TaskHandle running;

    void runSoon(Seconds delay);
    void begin();
    [[nodiscard]] Task<void> run();
    [[nodiscard]] Task<Round> round();
    [[nodiscard]] Task<Round> pull();
    [[nodiscard]] Task<Round> push();
    [[nodiscard]] Task<Round> pushForeign();
    [[nodiscard]] bool findKey();
    [[nodiscard]] std::optional<MirrorJournal::State> apply(
        const CloudDatabase::Page& page, const MirrorJournal::State& before);
    struct Batch {
        std::vector<SyncRecord> records;
        std::vector<CloudRecord> sealed;
        std::optional<std::pair<SyncKind, std::string>> last; // of those looked at
    };
    [[nodiscard]] std::optional<Batch> nextBatch(
        const std::optional<std::pair<SyncKind, std::string>>& after);
    [[nodiscard]] Round settle(
        const Batch& batch, const std::vector<CloudDatabase::Pushed>& answers);
    [[nodiscard]] bool isKept(const SyncResult<>& result);
    Round fail(const CloudError& error);
    Round fail(const char* what, std::string_view sentence);
};

} // namespace nimbe
