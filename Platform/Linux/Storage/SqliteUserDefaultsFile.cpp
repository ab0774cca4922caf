#include "PlatformStorage/SqliteUserDefaultsFile.h"

#include <cerrno>

#include "PlatformStorage/FileLock.h"
#include "PlatformStorage/StoredValue.h"

namespace nimbe {
namespace {

namespace fs = std::filesystem;
using Value = UserDefaults::Value;

// Kept to the letter: a file whose schema reads otherwise is not one of ours.
constexpr const char* schema =
    "CREATE TABLE defaults(key TEXT NOT NULL UNIQUE, kind INTEGER NOT NULL, value BLOB NOT NULL)";
constexpr std::int64_t schemaVersion = 1;
constexpr Seconds lockPatience = 5;

} // namespace

SqliteUserDefaultsFile::SqliteUserDefaultsFile(fs::path path, LogSink& sink, Access access)
    : file{std::move(path)}, log(sink, "settings"), access(access) {}

Result<std::int64_t, DefaultsError> SqliteUserDefaultsFile::version(Use use) {
    using enum DefaultsError::Kind;
    if (opened && !isInTransaction && mustBeOpenedAgain()) {
        opened.reset();
        isSuspect = false;
    }
    if (access == Access::readOnly && use == Use::write) {
        log.warning("settings: this program only reads them");
        return failure(DefaultsError{unavailable});
    }
    if (opened && opened->isReadOnly && use == Use::write) {
        log.error("settings: the folder is read-only");
        return failure(DefaultsError{unavailable});
    }
    if (!opened) {
        std::error_code error;
        const bool exists = fs::exists(file.path, error);
        if (error) log.error("settings: the file cannot be looked up, errno=%d", error.value());
        if (error) return failure(DefaultsError{unavailable});
        if (!exists && use == Use::read) return 0; // read() answers: nothing there
        switch (open(use)) {
        case Health::sound: break;
        case Health::damaged:
        case Health::newer: return failure(DefaultsError{unreadable});
        case Health::unwritable:
            log.error("settings: nothing can be written, is the disk full?");
            [[fallthrough]];
        case Health::unreachable: return failure(DefaultsError{unavailable});
        }
    }
    opened->version.reset();
    const auto code = opened->version.step();
    if (!code.isRow()) {
        return failure(report(code, "asking the file"));
    }
    const std::int64_t number = opened->version.integer(0);
    opened->version.reset();
    // The count of openings tells one file's numbers from the next one's.
    return openings << 32 | number;
}

/// Found damaged since; set aside by another process; removed by the user.
bool SqliteUserDefaultsFile::mustBeOpenedAgain() const {
    if (isSuspect) return true;
    if (!opened->state) return !isStillThere();
    // A file opened for reading alone is read without locks, as it then was. It may
    // become writable, or be so to others, who see another mount of it.
    return file.state() != opened->state || (access == Access::full && file.isWritable());
}

Result<std::optional<Value>, DefaultsError> SqliteUserDefaultsFile::read(std::string_view key) {
    auto value = readOnce(key);
    // Written to while it was read without locks: now there is a log to read along with it.
    const bool mayBeTorn =
        opened && access == Access::readOnly && opened->state && file.state() != opened->state;
    if (!mayBeTorn) return value;
    const auto now = version(Use::read);
    return now ? readOnce(key) : failure(now.error());
}

Result<std::optional<Value>, DefaultsError> SqliteUserDefaultsFile::readOnce(std::string_view key) {
    using enum DefaultsError::Kind;
    if (!opened) return std::optional<Value>();
    auto& select = opened->select;
    select.bind(1, key);
    const auto code = select.step();
    std::optional<Value> value;
    if (code.isRow()) value = StoredValue::decode(select.integer(0), select.bytes(1));
    select.reset();
    if (code.isDone()) return std::optional<Value>();
    if (!code.isRow()) {
        return failure(report(code, "reading"));
    }
    if (!value) {
        log.error("settings: a stored value does not have the form of its type");
        return failure(DefaultsError{unreadable});
    }
    return value;
}

bool SqliteUserDefaultsFile::write(std::string_view key, const Value& value) {
    const StoredValue stored(value);
    auto& upsert = opened->upsert;
    upsert.bind(1, key);
    upsert.bind(2, stored.kind());
    upsert.bindBytes(3, stored.bytes());
    return finish(upsert, "writing");
}

bool SqliteUserDefaultsFile::erase(std::string_view key) {
    opened->remove.bind(1, key);
    return finish(opened->remove, "removing");
}

bool SqliteUserDefaultsFile::rename(std::string_view key, std::string_view newKey) {
    opened->rename.bind(1, key);
    opened->rename.bind(2, newKey);
    return finish(opened->rename, "moving");
}

bool SqliteUserDefaultsFile::finish(SqliteStatement& statement, const char* action) {
    const auto code = statement.step();
    statement.reset();
    if (!code.isDone()) (void)report(code, action);
    return code.isDone();
}

DefaultsError SqliteUserDefaultsFile::report(SqliteCode code, const char* action) {
    log.error("settings: %s failed: %s", action, code.text());
    isSuspect = isSuspect || code.isDamage();
    return {code.isDamage() ? DefaultsError::Kind::unreadable : DefaultsError::Kind::unavailable};
}

bool SqliteUserDefaultsFile::begin() {
    const auto code = opened->database.execute("BEGIN IMMEDIATE");
    isInTransaction = code.isOk();
    if (!code.isOk()) (void)report(code, "beginning");
    return code.isOk();
}

bool SqliteUserDefaultsFile::end(bool keep) {
    isInTransaction = false;
    auto& database = opened->database;
    // On a full disk SQLite may have rolled back by itself.
    if (database.isAutocommitting()) return false;
    if (keep) {
        const auto code = database.execute("COMMIT");
        if (code.isOk() && isStillThere()) return true;
        if (code.isOk())
            log.error("settings: the file was set aside while a transaction ran");
        else
            (void)report(code, "keeping");
    }
    if (!database.isAutocommitting()) (void)database.execute("ROLLBACK");
    return false;
}

bool SqliteUserDefaultsFile::isStillThere() const {
    return file.identity() == opened->identity;
}

/// Opens the file, making or mending it where needed.
///
/// One process at a time: SQLite does not wait for another one that switches the
/// journal of a new file but fails at once, and a file that is being mended must
/// not be opened before its values are back.
SqliteUserDefaultsFile::Health SqliteUserDefaultsFile::open(Use use) {
    if (access == Access::readOnly) return openBesideWriters();
    if (const auto error = file.prepareFolder()) {
        log.error("settings: the folder cannot be made, errno=%d", error.value());
        return Health::unreachable;
    }
    if (use == Use::read && !file.isWritable()) return openReadOnly();
    const auto lock = FileLock::acquire(file.with(".lock"), lockPatience);
    if (!lock) {
        log.error("settings: the file's lock cannot be had");
        return Health::unreachable;
    }
    const Health health = openSound();
    if (health == Health::damaged) return mend();
    // On a full disk not even the files that a reader shares with writers can be made.
    if (health == Health::unwritable && use == Use::read) return openReadOnly();
    return health;
}

/// Opens the file, making it when there is none, and looks it over once.
SqliteUserDefaultsFile::Health SqliteUserDefaultsFile::openSound() {
    if (!file.createPrivate()) {
        log.error("settings: the file cannot be made, errno=%d", errno);
        return Health::unreachable;
    }
    return adopt(SqliteDatabase::open(file.path), false, Locks::taken);
}

SqliteUserDefaultsFile::Health SqliteUserDefaultsFile::openReadOnly() {
    return adopt(file.openReadOnly(), true, Locks::none);
}

/// With SQLite's locks where a log stands beside the file: someone writes, or was killed.
/// Without one the file is read as it stands, so that nothing is made beside it; the first
/// write of another process makes the log and is seen by that.
SqliteUserDefaultsFile::Health SqliteUserDefaultsFile::openBesideWriters() {
    Health health = Health::unreachable;
    for (int attempt = 0; attempt < 3; ++attempt) {
        const auto before = file.state();
        using enum SqliteDatabase::ReadOnly;
        health = file.hasLog() && file.isWritable()
                     ? adopt(SqliteDatabase::openReadOnly(file.path, withLog), true, Locks::taken)
                     : openReadOnly();
        // What looked damaged may have been written just then.
        if (health == Health::sound || file.state() == before) break;
    }
    return health;
}

SqliteUserDefaultsFile::Health SqliteUserDefaultsFile::adopt(
    Result<SqliteDatabase, SqliteCode> database, bool isReadOnly, Locks locks) {
    const auto state = locks == Locks::none ? std::optional(file.state()) : std::nullopt;
    if (!database) return verdict(database.error(), "opening");
    const auto identity = file.identity();
    if (!identity) {
        log.error("settings: the file is gone, errno=%d", errno);
        return Health::unreachable;
    }
    database->setLimited(true);
    Health health = isReadOnly ? Health::sound : prepareForWriting(*database);
    if (health == Health::sound) health = check(*database);
    database->setLimited(false);
    if (health != Health::sound) return health;

    auto select = database->prepare("SELECT kind, value FROM defaults WHERE key = ?");
    auto upsert = database->prepare("INSERT INTO defaults(key, kind, value) VALUES(?, ?, ?) "
                                    "ON CONFLICT(key) DO UPDATE SET kind = excluded.kind, "
                                    "value = excluded.value");
    auto remove = database->prepare("DELETE FROM defaults WHERE key = ?");
    auto rename = database->prepare("UPDATE OR REPLACE defaults SET key = ?2 WHERE key = ?1");
    auto version = database->prepare("PRAGMA data_version");
    opened.emplace(Opened{std::move(*database), std::move(select), std::move(upsert),
        std::move(remove), std::move(rename), std::move(version), *identity, isReadOnly, state});
    ++openings;
    return Health::sound;
}

SqliteUserDefaultsFile::Health SqliteUserDefaultsFile::verdict(SqliteCode code, const char* step) {
    if (code.isForWantOfSpace()) {
        log.warning("settings: %s failed: %s", step, code.text());
        return Health::unwritable;
    }
    log.error("settings: %s failed: %s", step, code.text());
    return code.isDamage() ? Health::damaged : Health::unreachable;
}

/// Sets the journal and makes the table of a new file.
SqliteUserDefaultsFile::Health SqliteUserDefaultsFile::prepareForWriting(SqliteDatabase& database) {
    // The page size counts for a new file only: the history's values take tens to
    // hundreds of kilobytes, and each page of one is a write of its own. With 4 MiB
    // of log (512 pages) the copying back into the file is a small part of the cost.
    // Values are kept in memory here, so SQLite need not keep many pages as well (KiB).
    for (const char* setting :
        {"PRAGMA page_size = 8192", "PRAGMA journal_mode = WAL", "PRAGMA synchronous = FULL",
            "PRAGMA wal_autocheckpoint = 512", "PRAGMA cache_size = -256"})
        if (const auto code = database.execute(setting); !code.isOk())
            return verdict(code, "setting up");

    const auto version = database.integer("PRAGMA user_version");
    if (!version) return verdict(version.error(), "reading the version");
    if (*version != 0) return Health::sound;
    // New, or another process is making it: the lock tells.
    if (const auto code = database.execute("BEGIN IMMEDIATE"); !code.isOk())
        return verdict(code, "locking");
    const auto tables = database.integer("SELECT count(*) FROM sqlite_schema");
    if (tables && *tables == 0) {
        (void)database.execute(schema);
        (void)database.execute("PRAGMA user_version = 1");
    }
    const auto code = database.execute("COMMIT");
    return code.isOk() ? Health::sound : verdict(code, "making the table");
}

SqliteUserDefaultsFile::Health SqliteUserDefaultsFile::check(SqliteDatabase& database) {
    const auto version = database.integer("PRAGMA user_version");
    if (!version) return verdict(version.error(), "reading the version");
    if (*version != schemaVersion) {
        log.error("settings: the file is of version %lld", static_cast<long long>(*version));
        return *version > schemaVersion ? Health::newer : Health::damaged;
    }
    const auto found =
        database.text("SELECT group_concat(sql, ';') FROM sqlite_schema WHERE sql IS NOT NULL");
    if (!found) return verdict(found.error(), "reading the schema");
    const auto soundness = database.text("PRAGMA quick_check(1)");
    if (!soundness) return verdict(soundness.error(), "checking");
    if (*found == schema && *soundness == "ok") return Health::sound;
    log.error("settings: the file is damaged");
    return Health::damaged;
}

/// Puts a sound file with all that can be read in the place of a damaged one,
/// which stays beside it under another name. The path names a whole file at every
/// moment of it.
SqliteUserDefaultsFile::Health SqliteUserDefaultsFile::mend() {
    const SqliteFile mended{file.with(".mended")};
    mended.remove(); // of a process that was killed here
    if (!salvageInto(mended)) {
        mended.remove();
        return Health::unreachable;
    }
    const auto aside = file.setAside(mended);
    if (!aside) {
        log.error(
            "settings: the damaged file cannot be set aside, errno=%d", aside.error().value());
        return Health::unreachable;
    }
    log.error("settings: set aside as %s", aside->filename().c_str());
    return openSound();
}

/// Copies every value that can still be read into a new file; reads from both
/// ends, since a damaged page stops either way.
bool SqliteUserDefaultsFile::salvageInto(const SqliteFile& mended) {
    auto source = SqliteDatabase::open(file.path);
    auto target = mended.createPrivate()
                      ? SqliteDatabase::open(mended.path)
                      : Result<SqliteDatabase, SqliteCode>(failure(SqliteCode{}));
    if (!source || !target || !target->execute("PRAGMA page_size = 8192").isOk() ||
        !target->execute("BEGIN").isOk() || !target->execute(schema).isOk() ||
        !target->execute("PRAGMA user_version = 1").isOk()) {
        log.error("settings: a new file for the values of the damaged one cannot be made");
        return false;
    }
    source->setLimited(true);
    auto insert =
        target->prepare("INSERT OR IGNORE INTO defaults(key, kind, value) VALUES(?, ?, ?)");
    for (const char* order : {"ASC", "DESC"}) {
        auto select = source->prepare(
            std::string("SELECT key, kind, value FROM defaults ORDER BY rowid ") + order);
        while (select.step().isRow()) {
            const auto kind = select.integer(1);
            const auto bytes = select.bytes(2);
            if (!select.isInteger(1) || !StoredValue::decode(kind, bytes)) continue;
            insert.bind(1, select.bytes(0));
            insert.bind(2, kind);
            insert.bindBytes(3, bytes);
            const auto code = insert.step();
            insert.reset();
            if (code.isDone()) continue;
            log.error("settings: saving a value failed: %s", code.text());
            return false;
        }
    }
    const auto saved = target->integer("SELECT count(*) FROM defaults");
    const auto code = target->execute("COMMIT");
    if (!saved || !code.isOk()) {
        log.error("settings: saving the values failed: %s", code.text());
        return false;
    }
    log.error("settings: values saved from the damaged file: %lld", static_cast<long long>(*saved));
    return true;
}

} // namespace nimbe
