#include "PlatformSyncStorage/SqliteSyncDatabase.h"

#include <limits>

#include "SyncRows.h"

namespace nimbe {
namespace {

using namespace syncRows;

// No text at all would be NULL, with which nothing compares; an empty one stands before all.
constexpr std::string_view first = "";

std::int64_t limitOf(std::size_t limit) {
    constexpr std::size_t most = std::numeric_limits<std::int32_t>::max();
    return static_cast<std::int64_t>(std::min(limit, most));
}

} // namespace

SqliteSyncDatabase::SqliteSyncDatabase(std::filesystem::path file, SyncFile::Use use, LogSink& sink)
    : file(std::move(file), use, sink) {}

SyncResult<> SqliteSyncDatabase::open() {
    const std::lock_guard guard(lock);
    const auto database = file.database();
    if (!database) return failure(database.error());
    return {};
}

/// One statement to its end. Where there is no file yet, none has rows.
SyncResult<> SqliteSyncDatabase::run(
    const char* sql, const Bind& bind, const Row& row, const char* action) {
    const auto database = file.database();
    if (!database) return failure(database.error());
    if (!*database) return {};
    if (statementsOf != file.openings()) statements.clear();
    statementsOf = file.openings();
    auto found = statements.find(sql);
    if (found == statements.end()) found = statements.emplace(sql, (*database)->prepare(sql)).first;
    auto& statement = found->second;
    bind(statement);
    auto code = statement.step();
    for (; code.isRow(); code = statement.step()) row(statement);
    statement.reset();
    if (code.isDone()) return {};
    auto error = file.report(code, action);
    statements.clear(); // a failed preparation is made again
    return failure(std::move(error));
}

SyncResult<> SqliteSyncDatabase::change(const char* sql, const Bind& bind, const char* action) {
    ++changes;
    const auto database = file.database();
    if (!database) return failure(database.error());
    if (!*database) return failure(SyncError{SyncError::Kind::unavailable, "there is no file"});
    return run(
        sql, bind, [](const SqliteStatement& /*row*/) {}, action);
}

SyncResult<> SqliteSyncDatabase::transaction(const std::function<SyncResult<>()>& body) {
    const std::lock_guard guard(lock);
    if (depth > 0) return body();
    const auto database = file.database();
    if (!database) return failure(database.error());
    if (!*database) return body(); // for reading
    if (const auto code = (*database)->execute("BEGIN IMMEDIATE"); !code.isOk())
        return failure(file.report(code, "locking"));
    const auto before = changes;
    ++depth;
    auto result = body();
    --depth;
    if (changes != before) ++changes; // also for who looked meanwhile, when it is undone
    // On a full disk SQLite may have rolled back by itself.
    if (result && (*database)->isAutocommitting())
        result = failure(SyncError{SyncError::Kind::full, "rolled back"});
    if (result) {
        const auto code = (*database)->execute("COMMIT");
        if (!code.isOk())
            result = failure(file.report(code, "keeping"));
        else if (!file.isStillThere())
            result = failure(SyncError{SyncError::Kind::unavailable, "set aside meanwhile"});
    }
    if (!(*database)->isAutocommitting()) (void)(*database)->execute("ROLLBACK");
    return result;
}

/// Reads of several statements, with no other writer's change in between.
SyncResult<> SqliteSyncDatabase::inOneView(const std::function<SyncResult<>()>& body) {
    if (depth > 0) return body();
    const auto database = file.database();
    if (!database) return failure(database.error());
    if (!*database) return body();
    if (const auto code = (*database)->execute("BEGIN"); !code.isOk())
        return failure(file.report(code, "reading"));
    ++depth;
    auto result = body();
    --depth;
    if (!(*database)->isAutocommitting()) (void)(*database)->execute("COMMIT");
    return result;
}

SyncResult<std::optional<SyncModel>> SqliteSyncDatabase::model(
    SyncKind kind, const std::string& id) {
    std::optional<SyncModel> found;
    const auto result = run(
        statementsFor(kind).one, [&](SqliteStatement& bound) { bound.bind(1, id); },
        [&](const SqliteStatement& row) { found = modelOf(kind, row); }, "reading");
    if (!result) return failure(result.error());
    return found;
}

SyncResult<std::optional<SyncRecord>> SqliteSyncDatabase::read(
    SyncKind kind, const std::string& id) {
    const std::lock_guard guard(lock);
    std::optional<SyncRecord> record;
    const auto result = inOneView([&]() -> SyncResult<> {
        bool isDeleted = false;
        auto mirrored = run(
            "SELECT revision, isDirty, changes, more, isDeleted FROM mirror "
            "WHERE kind = ? AND id = ?",
            [&](SqliteStatement& bound) {
                bound.bind(1, SyncSchema::rawValue(kind));
                bound.bind(2, id);
            },
            [&](const SqliteStatement& row) {
                record = SyncRecord{kind, id, {},
                    {row.integer(0), row.integer(1) != 0, decoded(row.bytes(2))},
                    std::string(row.bytes(3))};
                isDeleted = row.integer(4) != 0;
            },
            "reading");
        if (!mirrored || !record || isDeleted) return mirrored;
        auto found = model(kind, id);
        if (!found) return failure(found.error());
        record->model = std::move(*found);
        if (!record->model) record.reset(); // its row was lost: that is no deletion
        return {};
    });
    if (!result) return failure(result.error());
    return record;
}

SyncResult<> SqliteSyncDatabase::write(const SyncRecord& record) {
    return transaction([&]() -> SyncResult<> {
        const auto changesBytes = encoded(record.mirror.changes);
        auto result = change(
            "INSERT OR REPLACE INTO mirror(kind, id, revision, isDirty, isDeleted, changes, more) "
            "VALUES(?, ?, ?, ?, ?, ?, ?)",
            [&](SqliteStatement& bound) {
                bound.bind(1, SyncSchema::rawValue(record.kind));
                bound.bind(2, record.id);
                bound.bind(3, record.mirror.revision);
                bound.bind(4, flag(record.mirror.isDirty));
                bound.bind(5, flag(!record.model));
                bound.bindBytes(6, changesBytes);
                bound.bind(7, record.more);
            },
            "writing");
        if (!result) return result;
        return record.model ? writeModel(*record.model) : eraseModel(record.kind, record.id);
    });
}

SyncResult<> SqliteSyncDatabase::writeModel(const SyncModel& model) {
    return change(
        statementsFor(SyncSchema::kind(model)).write,
        [&](SqliteStatement& bound) { bind(bound, model); }, "writing");
}

SyncResult<> SqliteSyncDatabase::eraseModel(SyncKind kind, const std::string& id) {
    return change(
        statementsFor(kind).erase, [&](SqliteStatement& bound) { bound.bind(1, id); }, "erasing");
}

SyncResult<> SqliteSyncDatabase::erase(SyncKind kind, const std::string& id) {
    return transaction([&]() -> SyncResult<> {
        auto result = change(
            "DELETE FROM mirror WHERE kind = ? AND id = ?",
            [&](SqliteStatement& bound) {
                bound.bind(1, SyncSchema::rawValue(kind));
                bound.bind(2, id);
            },
            "erasing");
        return result ? eraseModel(kind, id) : result;
    });
}

SyncResult<std::vector<SyncModel>> SqliteSyncDatabase::page(
    SyncKind kind, const std::optional<Position>& after, std::size_t limit) {
    const std::lock_guard guard(lock);
    std::vector<SyncModel> models;
    const auto& texts = statementsFor(kind);
    auto last = after;
    // Rows that no version has written are left out; others come in their place, since a page
    // that is not full is the last one.
    for (bool isMore = true; isMore && models.size() < limit;) {
        const auto wanted = limit - models.size();
        std::size_t rows = 0;
        const auto result = run(
            last ? texts.nextPage : texts.firstPage,
            [&](SqliteStatement& bound) {
                bound.bind(2, limitOf(wanted));
                if (!last) return;
                bound.bind(1, last->id);
                bound.bind(3, last->createdAt.sinceReference); // where there is a third
            },
            [&](const SqliteStatement& row) {
                ++rows;
                last = {
                    {kind == SyncKind::transcript ? row.real(1) : 0}, std::string(row.bytes(0))};
                if (auto model = modelOf(kind, row)) models.push_back(std::move(*model));
            },
            "reading");
        if (!result) return failure(result.error());
        isMore = rows == wanted;
    }
    return models;
}

SyncResult<std::int64_t> SqliteSyncDatabase::version() {
    const std::lock_guard guard(lock);
    // Counts what other connections have changed; what was changed here counts beside it.
    std::int64_t others = 0;
    const auto result = run(
        "PRAGMA data_version", [](SqliteStatement& /*bound*/) {},
        [&](const SqliteStatement& row) { others = row.integer(0); }, "asking the file");
    if (!result) return failure(result.error());
    return file.openings() << 40 | (others + changes);
}

SyncResult<MirrorJournal::State> SqliteSyncDatabase::state() {
    const std::lock_guard guard(lock);
    State state;
    const auto result = run(
        "SELECT cloud, pulled FROM mirrorState", [](SqliteStatement& /*bound*/) {},
        [&](const SqliteStatement& row) {
            state = {std::string(row.bytes(0)), row.integer(1)};
        },
        "reading");
    if (!result) return failure(result.error());
    return state;
}

SyncResult<> SqliteSyncDatabase::setState(const State& state) {
    const std::lock_guard guard(lock);
    return change(
        "INSERT OR REPLACE INTO mirrorState(id, cloud, pulled) VALUES(1, ?, ?)",
        [&](SqliteStatement& bound) {
            bound.bind(1, state.cloud);
            bound.bind(2, state.pulled);
        },
        "writing");
}

SyncResult<std::vector<SyncRecord>> SqliteSyncDatabase::pending(
    const std::optional<std::pair<SyncKind, std::string>>& after, std::size_t limit) {
    const std::lock_guard guard(lock);
    std::vector<SyncRecord> records;
    std::string lastKind(after ? SyncSchema::rawValue(after->first) : first);
    std::string lastId(after ? std::string_view(after->second) : first);
    const auto addNext = [&](std::size_t wanted) -> SyncResult<bool> {
        struct Row {
            std::optional<SyncKind> kind;
            bool isDeleted = false;
            SyncRecord record;
        };
        std::vector<Row> rows;
        auto found = run(
            "SELECT kind, id, isDeleted, revision, changes, more FROM mirror "
            "WHERE isDirty = 1 AND (kind, id) > (?, ?) ORDER BY kind, id LIMIT ?",
            [&](SqliteStatement& bound) {
                bound.bind(1, lastKind);
                bound.bind(2, lastId);
                bound.bind(3, limitOf(wanted));
            },
            [&](const SqliteStatement& row) {
                lastKind = row.bytes(0);
                lastId = row.bytes(1);
                const auto kind = SyncSchema::kind(lastKind);
                rows.push_back({kind, row.integer(2) != 0,
                    {kind.value_or(SyncKind::transcript), lastId, {},
                        {row.integer(3), true, decoded(row.bytes(4))}, std::string(row.bytes(5))}});
            },
            "reading");
        if (!found) return failure(found.error());
        for (auto& [kind, isDeleted, record] : rows) {
            if (!kind) continue;
            if (!isDeleted) {
                auto read = model(*kind, record.id);
                if (!read) return failure(read.error());
                if (!*read) continue; // its row was lost: that is no deletion
                record.model = std::move(*read);
            }
            records.push_back(std::move(record));
        }
        return rows.size() == wanted;
    };
    const auto result = inOneView([&]() -> SyncResult<> {
        while (records.size() < limit) {
            const auto isMore = addNext(limit - records.size());
            if (!isMore) return failure(isMore.error());
            if (!*isMore) break;
        }
        return {};
    });
    if (!result) return failure(result.error());
    return records;
}

SyncResult<> SqliteSyncDatabase::keep(const CloudRecord& foreign) {
    const std::lock_guard guard(lock);
    return change(
        "INSERT OR REPLACE INTO foreignRecords(kind, id, revision, isDeleted, payload) "
        "VALUES(?, ?, ?, ?, ?)",
        [&](SqliteStatement& bound) {
            bound.bind(1, foreign.kind);
            bound.bind(2, foreign.id);
            bound.bind(3, foreign.revision);
            bound.bind(4, flag(foreign.isDeleted));
            bound.bindBytes(5, viewOf(foreign.payload));
        },
        "writing");
}

SyncResult<> SqliteSyncDatabase::drop(const std::string& kind, const std::string& id) {
    const std::lock_guard guard(lock);
    return change(
        "DELETE FROM foreignRecords WHERE kind = ? AND id = ?",
        [&](SqliteStatement& bound) {
            bound.bind(1, kind);
            bound.bind(2, id);
        },
        "erasing");
}

SyncResult<std::vector<CloudRecord>> SqliteSyncDatabase::foreign(
    const std::optional<std::pair<std::string, std::string>>& after, std::size_t limit) {
    const std::lock_guard guard(lock);
    std::vector<CloudRecord> records;
    const auto result = run(
        "SELECT kind, id, revision, isDeleted, payload FROM foreignRecords "
        "WHERE (kind, id) > (?, ?) ORDER BY kind, id LIMIT ?",
        [&](SqliteStatement& bound) {
            bound.bind(1, after ? std::string_view(after->first) : first);
            bound.bind(2, after ? std::string_view(after->second) : first);
            bound.bind(3, limitOf(limit));
        },
        [&](const SqliteStatement& row) {
            records.push_back({std::string(row.bytes(0)), std::string(row.bytes(1)), row.integer(2),
                row.integer(3) != 0, bytesOf(row.bytes(4))});
        },
        "reading");
    if (!result) return failure(result.error());
    return records;
}

SyncResult<> SqliteSyncDatabase::offerAllAnew() {
    return transaction([&]() -> SyncResult<> {
        for (const char* sql : {"UPDATE mirror SET isDirty = 1, revision = min(revision, 0)",
                 "UPDATE foreignRecords SET revision = 0", "DELETE FROM mirrorState"})
            if (auto result = change(
                    sql, [](SqliteStatement& /*bound*/) {}, "writing");
                !result)
                return result;
        return {};
    });
}

SyncResult<std::unique_ptr<SyncDatabase>> SqliteSyncDatabaseOpener::open() {
    auto database = std::make_unique<SqliteSyncDatabase>(file, SyncFile::Use::write, sink);
    if (auto opened = database->open(); !opened) return failure(opened.error());
    return database;
}

} // namespace nimbe
