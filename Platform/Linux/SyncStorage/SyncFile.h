#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

#include "Foundation/Log.h"
#include "NimbeSync/SyncDatabase.h"
#include "PlatformStorage/SqliteFile.h"

namespace nimbe {

/// The synced store's file: opened when it is first needed, and again when it was set aside
/// or replaced meanwhile. A damaged one is set aside beside a new one, into which is copied
/// what can be read; one of a newer version is left as it is. One thread at a time.
class SyncFile {
public:
    enum class Use {
        read, // never makes, migrates or mends a file, and writes nothing to it
        write
    };

    SyncFile(std::filesystem::path path, Use use, LogSink& sink);

    /// Null: there is no file, and reading makes none. Valid until the next call.
    [[nodiscard]] SyncResult<SqliteDatabase*> database();

    /// How often it was opened: statements of an earlier opening are void.
    [[nodiscard]] std::int64_t openings() const { return openingCount; }

    /// False: what was written just now may be in a file that was set aside.
    [[nodiscard]] bool isStillThere() const;

    /// Says so in the log. After damage the file is looked over, and mended, at the next use.
    [[nodiscard]] SyncError report(SqliteCode code, const char* action);

private:
    struct Opened {
        SqliteDatabase database;
        SqliteFile::Identity identity;
        bool isReadOnly = false;      // read without locks
        SqliteFile::State state = {}; // as it then was
    };

    SqliteFile file;
    Use use;
    Log log;
    std::optional<Opened> opened;
    std::int64_t openingCount = 0;
    bool isSuspect = false;

    [[nodiscard]] SyncResult<> open();
    [[nodiscard]] SyncResult<> openForReading();
    [[nodiscard]] SyncResult<> openForWriting();
    [[nodiscard]] SyncResult<> adopt(Result<SqliteDatabase, SqliteCode> database, bool isReadOnly);
    [[nodiscard]] SyncResult<> prepare(SqliteDatabase& database);
    [[nodiscard]] SyncResult<> check(SqliteDatabase& database);
    [[nodiscard]] SyncResult<> mend();
    [[nodiscard]] SyncError fail(SyncError::Kind kind, std::string detail);
};

} // namespace nimbe
