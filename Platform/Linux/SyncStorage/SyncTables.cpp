#include "PlatformSyncStorage/SyncTables.h"

#include <string>

#include "NimbeSync/SyncSchema.h"

namespace nimbe {
namespace {

constexpr const char* firstTables = R"sql(
CREATE TABLE transcripts(createdAt REAL NOT NULL, mode TEXT NOT NULL DEFAULT 'messaging', ciphertext BLOB NOT NULL, originalCiphertext BLOB) STRICT;
CREATE TABLE dictionaryEntries(term TEXT NOT NULL PRIMARY KEY, replacement TEXT NOT NULL, updatedAt REAL NOT NULL) STRICT;
CREATE TABLE preferences(id TEXT NOT NULL PRIMARY KEY, cleanupEnabled INTEGER NOT NULL, defaultMode TEXT NOT NULL) STRICT;
CREATE TABLE modeStyles(mode TEXT NOT NULL PRIMARY KEY, styleNote TEXT NOT NULL) STRICT;
PRAGMA user_version = 1;
)sql";

constexpr const char* secondTables = R"sql(
ALTER TABLE transcripts RENAME TO transcriptsWithoutId;
CREATE TABLE transcripts(id TEXT NOT NULL PRIMARY KEY, createdAt REAL NOT NULL, mode TEXT NOT NULL DEFAULT 'messaging', ciphertext BLOB NOT NULL, originalCiphertext BLOB) STRICT;
CREATE INDEX transcriptsByTime ON transcripts(createdAt, id);
CREATE TABLE mirror(kind TEXT NOT NULL, id TEXT NOT NULL, revision INTEGER NOT NULL, isDirty INTEGER NOT NULL, isDeleted INTEGER NOT NULL, changes BLOB NOT NULL, more TEXT NOT NULL, UNIQUE(kind, id)) STRICT;
CREATE INDEX mirrorPending ON mirror(kind, id) WHERE isDirty = 1;
CREATE TABLE foreignRecords(kind TEXT NOT NULL, id TEXT NOT NULL, revision INTEGER NOT NULL, isDeleted INTEGER NOT NULL, payload BLOB NOT NULL, UNIQUE(kind, id)) STRICT;
CREATE TABLE mirrorState(id INTEGER PRIMARY KEY CHECK(id = 1), cloud TEXT NOT NULL, pulled INTEGER NOT NULL) STRICT;
)sql";

// UUIDs of version 4 (RFC 9562), made by SQLite: for a million rows that takes seconds.
constexpr const char* giveIds = R"sql(
INSERT INTO transcripts SELECT substr(hex, 1, 8) || '-' || substr(hex, 9, 4) || '-4' || substr(hex, 13, 3) || '-' || substr('89AB', 1 + (random() & 3), 1) || substr(hex, 16, 3) || '-' || substr(hex, 19, 12), createdAt, mode, ciphertext, originalCiphertext FROM (SELECT hex(randomblob(15)) AS hex, * FROM transcriptsWithoutId);
)sql";

// A record that the mirror knows nothing of is new to it. The numbers differ by row.
constexpr const char* tellMirror = R"sql(
INSERT OR IGNORE INTO mirror SELECT 'transcript', id, -1, 1, 0, randomblob(8), '' FROM transcripts;
INSERT OR IGNORE INTO mirror SELECT 'dictionaryEntry', term, -1, 1, 0, randomblob(8), '' FROM dictionaryEntries;
INSERT OR IGNORE INTO mirror SELECT 'preferences', id, -1, 1, 0, randomblob(8), '' FROM preferences;
INSERT OR IGNORE INTO mirror SELECT 'modeStyle', mode, -1, 1, 0, randomblob(8), '' FROM modeStyles;
)sql";

// A record whose row was lost is not a deleted one: the cloud may have it.
constexpr const char* forgetLostRows = R"sql(
DELETE FROM mirror WHERE isDeleted = 0 AND NOT EXISTS(SELECT 1 FROM transcripts WHERE kind = 'transcript' AND transcripts.id = mirror.id) AND NOT EXISTS(SELECT 1 FROM dictionaryEntries WHERE kind = 'dictionaryEntry' AND term = mirror.id) AND NOT EXISTS(SELECT 1 FROM preferences WHERE kind = 'preferences' AND preferences.id = mirror.id) AND NOT EXISTS(SELECT 1 FROM modeStyles WHERE kind = 'modeStyle' AND mode = mirror.id);
DELETE FROM transcripts WHERE EXISTS(SELECT 1 FROM mirror WHERE kind = 'transcript' AND mirror.id = transcripts.id AND isDeleted = 1);
UPDATE mirrorState SET pulled = 0;
)sql";

struct Table {
    const char* name;
    const char* columns;
    int count;
    std::int64_t since; // this version
};
constexpr Table tables[] = {
    {"dictionaryEntries", "term, replacement, updatedAt", 3, 1},
    {"preferences", "id, cleanupEnabled, defaultMode", 3, 1},
    {"modeStyles", "mode, styleNote", 2, 1},
    {"mirror", "kind, id, revision, isDirty, isDeleted, changes, more", 7, 2},
    {"foreignRecords", "kind, id, revision, isDeleted, payload", 5, 2},
    {"mirrorState", "id, cloud, pulled", 3, 2},
};
constexpr Table transcripts{
    "transcripts", "id, createdAt, mode, ciphertext, originalCiphertext", 5, 2};
constexpr Table firstTranscripts{
    "transcripts", "createdAt, mode, ciphertext, originalCiphertext", 4, 1};

/// Reads from both ends, since a damaged page stops either way. Fails only where the copy
/// cannot be written. Rows without a key may come twice, from either end: those are told
/// by their row's number.
SqliteCode copyRows(SqliteDatabase& from, SqliteDatabase& into, const Table& table) {
    std::string places = "?";
    for (int i = 0; i < table.count; ++i) places += ", ?";
    const std::string name = table.name;
    const std::string columns = std::string("rowid, ") + table.columns;
    auto insert =
        into.prepare("INSERT OR IGNORE INTO " + name + "(" + columns + ") VALUES(" + places + ")");
    for (const char* order : {"ASC", "DESC"}) {
        auto select =
            from.prepare("SELECT " + columns + " FROM " + name + " ORDER BY rowid " + order);
        while (select.step().isRow()) {
            for (int column = 0; column <= table.count; ++column)
                insert.bindFrom(column + 1, select, column);
            const auto code = insert.step();
            insert.reset();
            if (code.isForWantOfSpace()) return code; // anything else: no such row can be kept
        }
    }
    return {};
}

/// The statements that make the tables, by the names of what they make.
constexpr const char* schemaInForce =
    "SELECT group_concat(sql, ';') FROM "
    "(SELECT sql FROM sqlite_schema WHERE sql IS NOT NULL ORDER BY name)";

} // namespace

SqliteCode SyncTables::makeFirst(SqliteDatabase& database) {
    return database.execute(firstTables);
}

SqliteCode SyncTables::addIds(SqliteDatabase& database) {
    if (const auto code = database.execute(secondTables); !code.isOk()) return code;
    if (const auto code = database.execute(giveIds); !code.isOk()) return code;
    if (const auto code = database.execute(tellMirror); !code.isOk()) return code;
    return database.execute("DROP TABLE transcriptsWithoutId; PRAGMA user_version = 2");
}

SqliteCode SyncTables::migrate(SqliteDatabase& database, std::int64_t from) {
    if (from < 1)
        if (const auto code = makeFirst(database); !code.isOk()) return code;
    if (from < 2)
        if (const auto code = addIds(database); !code.isOk()) return code;
    return {};
}

Result<bool, SqliteCode> SyncTables::isWhole(SqliteDatabase& database) {
    static const std::string expected = [] {
        auto fresh = SqliteDatabase::open(":memory:");
        if (!fresh || !migrate(*fresh, 0).isOk()) return std::string();
        return fresh->text(schemaInForce).value_or(std::string());
    }();
    const auto found = database.text(schemaInForce);
    if (!found) return failure(found.error());
    return !expected.empty() && *found == expected;
}

Result<std::int64_t, SqliteCode> SyncTables::salvage(
    SqliteDatabase& damaged, SqliteDatabase& mended, std::int64_t version) {
    const bool isFirst = version == 1;
    auto code = mended.execute("BEGIN");
    if (code.isOk()) code = isFirst ? makeFirst(mended) : migrate(mended, 0);
    if (code.isOk()) code = copyRows(damaged, mended, isFirst ? firstTranscripts : transcripts);
    for (const auto& table : tables)
        if (code.isOk() && (table.since == 1 || !isFirst)) code = copyRows(damaged, mended, table);
    const auto saved = mended.integer("SELECT count(*) FROM transcripts");
    if (code.isOk() && isFirst) code = addIds(mended);
    if (code.isOk()) code = mended.execute(forgetLostRows);
    if (code.isOk()) code = mended.execute(tellMirror);
    if (code.isOk()) code = mended.execute("COMMIT");
    if (!code.isOk()) return failure(code);
    return saved;
}

} // namespace nimbe
