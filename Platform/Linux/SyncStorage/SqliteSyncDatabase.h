#pragma once

#include <filesystem>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <utility>

#include "Foundation/Log.h"
#include "NimbeSync/SyncStoreOpening.h"
#include "PlatformSyncStorage/SyncFile.h"

namespace nimbe {

/// The synced store in one SQLite file with a write-ahead log, synced at every commit. For
/// reading, a file that is not there is an empty store; it may come later.
class SqliteSyncDatabase final : public SyncDatabase, private MirrorJournal {
public:
    SqliteSyncDatabase(std::filesystem::path file, SyncFile::Use use, LogSink& sink);

    /// Opens the file now instead of at the first use.
    [[nodiscard]] SyncResult<> open();

    [[nodiscard]] SyncResult<std::optional<SyncRecord>> read(
        SyncKind kind, const std::string& id) override;
    [[nodiscard]] SyncResult<> write(const SyncRecord& record) override;
    [[nodiscard]] SyncResult<> erase(SyncKind kind, const std::string& id) override;
    [[nodiscard]] SyncResult<std::vector<SyncModel>> page(
        SyncKind kind, const std::optional<Position>& after, std::size_t limit) override;
    [[nodiscard]] SyncResult<> transaction(const std::function<SyncResult<>()>& body) override;
    [[nodiscard]] SyncResult<std::int64_t> version() override;
    [[nodiscard]] MirrorJournal& journal() override { return *this; }

private:
    [[nodiscard]] SyncResult<State> state() override;
    [[nodiscard]] SyncResult<> setState(const State& state) override;
    [[nodiscard]] SyncResult<std::vector<SyncRecord>> pending(
        const std::optional<std::pair<SyncKind, std::string>>& after, std::size_t limit) override;
    [[nodiscard]] SyncResult<> keep(const CloudRecord& foreign) override;
    [[nodiscard]] SyncResult<> drop(const std::string& kind, const std::string& id) override;
    [[nodiscard]] SyncResult<std::vector<CloudRecord>> foreign(
        const std::optional<std::pair<std::string, std::string>>& after,
        std::size_t limit) override;
    [[nodiscard]] SyncResult<> offerAllAnew() override;

    using Row = std::function<void(const SqliteStatement&)>;
    using Bind = std::function<void(SqliteStatement&)>;

    std::recursive_mutex lock;
    SyncFile file;
    std::map<std::string_view, SqliteStatement> statements; // by their text, a literal
    std::int64_t statementsOf = 0;                          // this opening of the file
    std::int64_t changes = 0;                               // made here
    int depth = 0;

    [[nodiscard]] SyncResult<> run(
        const char* sql, const Bind& bind, const Row& row, const char* action);
    [[nodiscard]] SyncResult<> change(const char* sql, const Bind& bind, const char* action);
    [[nodiscard]] SyncResult<std::optional<SyncModel>> model(SyncKind kind, const std::string& id);
    [[nodiscard]] SyncResult<> writeModel(const SyncModel& model);
    [[nodiscard]] SyncResult<> eraseModel(SyncKind kind, const std::string& id);
    [[nodiscard]] SyncResult<> inOneView(const std::function<SyncResult<>()>& body);
};

/// Opens it for writing.
class SqliteSyncDatabaseOpener final : public SyncDatabaseOpener {
public:
    SqliteSyncDatabaseOpener(std::filesystem::path file, LogSink& sink)
        : file(std::move(file)), sink(sink) {}

    [[nodiscard]] SyncResult<std::unique_ptr<SyncDatabase>> open() override;

private:
    std::filesystem::path file;
    LogSink& sink;
};

} // namespace nimbe
