#pragma once

#include <cstdint>

#include "PlatformStorage/SqliteDatabase.h"

namespace nimbe {

/// The tables of the synced store; their version is in user_version.
///
///   transcripts        id, createdAt (seconds from 2001-01-01 UTC), mode, ciphertext,
///                      originalCiphertext (or NULL)
///   dictionaryEntries  term, replacement, updatedAt
///   preferences        id (one row), cleanupEnabled, defaultMode
///   modeStyles         mode, styleNote
///   mirror             of each record by kind and id: revision, isDirty, isDeleted, changes
///                      (8 bytes each, big-endian), more (see SyncRecord)
///   foreignRecords     what the cloud has and this device cannot read
///   mirrorState        one row: pulled up to which revision, and the cloud's mark of that
///
/// Version 1 had transcripts without id, and nothing of the mirror.
struct SyncTables {
    /// Makes the tables of version 1 in an empty database. Within a transaction, as are all
    /// of these.
    [[nodiscard]] static SqliteCode makeFirst(SqliteDatabase& database);
    /// From version 1 to 2: transcripts get ids, at random since nothing tells which dictation
    /// they were.
    [[nodiscard]] static SqliteCode addIds(SqliteDatabase& database);
    /// Steps up to SyncSchema::version.
    [[nodiscard]] static SqliteCode migrate(SqliteDatabase& database, std::int64_t from);

    /// Whether the tables read as this version makes them.
    [[nodiscard]] static Result<bool, SqliteCode> isWhole(SqliteDatabase& database);

    /// Copies what can be read of a damaged file of `version` into the empty tables of
    /// another; how many rows. The cloud is then asked for all that it has.
    [[nodiscard]] static Result<std::int64_t, SqliteCode> salvage(
        SqliteDatabase& damaged, SqliteDatabase& mended, std::int64_t version);
};

} // namespace nimbe
