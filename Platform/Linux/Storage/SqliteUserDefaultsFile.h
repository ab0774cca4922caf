#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "Foundation/Log.h"
#include "Foundation/UserDefaults.h"
#include "PlatformStorage/SqliteFile.h"

namespace nimbe {

/// The file behind SqliteUserDefaults: one table of keys and values in a SQLite
/// database with a write-ahead log, synced at every commit. Mode 0600 in a folder
/// of mode 0700.
///
/// A damaged file is set aside beside the new one ("….damaged-DATE"), into which
/// every value that can still be read is copied. A file of a newer version is
/// left alone and its values are unavailable. Where nothing may be written, a file
/// is read as it stands.
///
/// Errors go to the log here; callers pass on that there was one. One thread at
/// a time.
class SqliteUserDefaultsFile {
public:
    enum class Use { read, write };
    enum class Access {
        full,
        readOnly // nothing is written, made or mended; values are read beside writers
    };

    SqliteUserDefaultsFile(std::filesystem::path path, LogSink& sink, Access access = Access::full);

    /// A number that stays the same as long as no other connection changes the
    /// file; opens it when that is still to do. Reading does not make a file.
    [[nodiscard]] Result<std::int64_t, DefaultsError> version(Use use);

    // After a call of version() that succeeded:
    [[nodiscard]] Result<std::optional<UserDefaults::Value>, DefaultsError> read(
        std::string_view key);
    [[nodiscard]] bool write(std::string_view key, const UserDefaults::Value& value);
    [[nodiscard]] bool erase(std::string_view key);
    [[nodiscard]] bool rename(std::string_view key, std::string_view newKey);

    /// A transaction that holds the write lock from the start.
    [[nodiscard]] bool begin();
    [[nodiscard]] bool end(bool keep);

    /// False when the path names another file than the one that is open: what was
    /// written just now may be in one that was set aside.
    [[nodiscard]] bool isStillThere() const;

private:
    struct Opened {
        SqliteDatabase database;
        SqliteStatement select;
        SqliteStatement upsert;
        SqliteStatement remove;
        SqliteStatement rename;
        SqliteStatement version;
        SqliteFile::Identity identity; // of what the path named
        bool isReadOnly = false;
        std::optional<SqliteFile::State> state = {}; // of a file that is read without locks
    };
    enum class Locks { taken, none };
    enum class Health { sound, damaged, newer, unreachable, unwritable };

    SqliteFile file;
    Log log;
    Access access;
    std::optional<Opened> opened;
    std::int64_t openings = 0;
    bool isInTransaction = false;
    bool isSuspect = false; // damage was met: look it over again before the next use

    [[nodiscard]] bool mustBeOpenedAgain() const;
    [[nodiscard]] Result<std::optional<UserDefaults::Value>, DefaultsError> readOnce(
        std::string_view key);
    [[nodiscard]] Health open(Use use);
    [[nodiscard]] Health openSound();
    [[nodiscard]] Health openReadOnly();
    [[nodiscard]] Health openBesideWriters();
    [[nodiscard]] Health adopt(
        Result<SqliteDatabase, SqliteCode> database, bool isReadOnly, Locks locks);
    [[nodiscard]] Health prepareForWriting(SqliteDatabase& database);
    [[nodiscard]] Health check(SqliteDatabase& database);
    [[nodiscard]] Health verdict(SqliteCode code, const char* step);
    [[nodiscard]] Health mend();
    [[nodiscard]] bool salvageInto(const SqliteFile& mended);
    [[nodiscard]] bool finish(SqliteStatement& statement, const char* action);
    [[nodiscard]] DefaultsError report(SqliteCode code, const char* action);
};

} // namespace nimbe
