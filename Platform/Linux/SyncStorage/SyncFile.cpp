#include "PlatformSyncStorage/SyncFile.h"

#include "PlatformStorage/FileLock.h"
#include "PlatformSyncStorage/SyncTables.h"

namespace nimbe {
namespace {

namespace fs = std::filesystem;
using Kind = SyncError::Kind;

constexpr Seconds lockPatience = 5;

// Looking over a file reads it whole; a larger one is looked over once damage was met.
constexpr std::uintmax_t largestCheckedAtOpening = 16U << 20;

} // namespace

SyncFile::SyncFile(fs::path path, Use use, LogSink& sink)
    : file{std::move(path)}, use(use), log(sink, "sync") {}

bool SyncFile::isStillThere() const {
    return opened && file.identity() == opened->identity;
}

SyncError SyncFile::fail(Kind kind, std::string detail) {
    log.error("store: %s", detail.c_str());
    return {kind, std::move(detail)};
}

SyncError SyncFile::report(SqliteCode code, const char* action) {
    isSuspect = isSuspect || code.isDamage();
    const auto kind = code.isDamage()           ? Kind::damaged
                      : code.isForWantOfSpace() ? Kind::full
                                                : Kind::unavailable;
    return fail(kind, std::string(action) + " failed: " + code.text());
}

SyncResult<SqliteDatabase*> SyncFile::database() {
    const bool isOld =
        opened && opened->database.isAutocommitting() &&
        (!isStillThere() || isSuspect ||
            (opened->isReadOnly && (file.isWritable() || file.state() != opened->state)));
    if (isOld) opened.reset();
    if (!opened) {
        if (use == Use::read && !file.identity()) return nullptr;
        auto result = open();
        if (!result && opened) opened.reset();
        if (!result) return failure(result.error());
        ++openingCount;
        isSuspect = false;
    }
    return &opened->database;
}

SyncResult<> SyncFile::open() {
    // Opening a pipe may never end.
    std::error_code none;
    if (const auto status = fs::status(file.path, none);
        fs::exists(status) && !fs::is_regular_file(status))
        return failure(fail(Kind::unavailable, "what stands there is not a file"));
    if (use == Use::read) return openForReading();
    if (const auto error = file.prepareFolder())
        return failure(fail(Kind::unavailable, "the folder cannot be made: " + error.message()));
    // One process at a time: SQLite does not wait for another one that switches the journal
    // of a new file, and a file that is being mended must not be opened before it is whole.
    const auto lock = FileLock::acquire(file.with(".lock"), lockPatience);
    if (!lock) return failure(fail(Kind::unavailable, "the file's lock cannot be had"));
    auto result = openForWriting();
    if (!result && result.error().kind == Kind::damaged) result = mend();
    return result;
}

SyncResult<> SyncFile::openForReading() {
    if (!file.isWritable()) return adopt(file.openReadOnly(), true);
    auto result = adopt(SqliteDatabase::open(file.path), false);
    // On a full disk not even the files that a reader shares with writers can be made.
    if (!result && result.error().kind == Kind::full) return adopt(file.openReadOnly(), true);
    return result;
}

SyncResult<> SyncFile::openForWriting() {
    if (!file.createPrivate()) return failure(fail(Kind::unavailable, "the file cannot be made"));
    return adopt(SqliteDatabase::open(file.path), false);
}

SyncResult<> SyncFile::adopt(Result<SqliteDatabase, SqliteCode> database, bool isReadOnly) {
    const auto state = isReadOnly ? file.state() : SqliteFile::State();
    if (!database)
        return failure(
            fail(Kind::unavailable, std::string("opening failed: ") + database.error().text()));
    const auto identity = file.identity();
    if (!identity) return failure(fail(Kind::unavailable, "the file is gone"));
    if (use == Use::write)
        if (auto prepared = prepare(*database); !prepared) return prepared;
    if (auto checked = check(*database); !checked) return checked;
    if (use == Use::read)
        if (const auto code = database->execute("PRAGMA query_only = ON"); !code.isOk())
            return failure(report(code, "setting up"));
    opened.emplace(Opened{std::move(*database), *identity, isReadOnly, state});
    return {};
}

/// Sets the journal, makes the tables and brings them forward.
SyncResult<> SyncFile::prepare(SqliteDatabase& database) {
    auto version = database.integer("PRAGMA user_version");
    if (!version) return failure(report(version.error(), "reading the version"));
    if (*version > SyncSchema::version) return {}; // not even its journal is touched
    for (const char* setting : {"PRAGMA page_size = 4096", "PRAGMA journal_mode = WAL",
             "PRAGMA synchronous = FULL", "PRAGMA cache_size = -2048"})
        if (const auto code = database.execute(setting); !code.isOk())
            return failure(report(code, "setting up"));
    if (*version == SyncSchema::version) return {};

    if (const auto code = database.execute("BEGIN IMMEDIATE"); !code.isOk())
        return failure(report(code, "locking"));
    // Another process may have been here first.
    version = database.integer("PRAGMA user_version");
    SqliteCode code = version ? SqliteCode() : version.error();
    if (version && *version == 0) {
        const auto tables = database.integer("SELECT count(*) FROM sqlite_schema");
        // Tables of no version are none of ours.
        if (tables && *tables > 0) {
            (void)database.execute("ROLLBACK");
            return failure(fail(Kind::damaged, "the file is not a store"));
        }
    }
    if (code.isOk()) code = SyncTables::migrate(database, *version);
    if (code.isOk()) code = database.execute("COMMIT");
    if (code.isOk()) return {};
    auto error = report(code, "bringing the tables forward");
    (void)database.execute("ROLLBACK");
    return failure(error);
}

SyncResult<> SyncFile::check(SqliteDatabase& database) {
    const auto version = database.integer("PRAGMA user_version");
    if (!version) return failure(report(version.error(), "reading the version"));
    if (*version != SyncSchema::version) {
        const auto kind = *version > SyncSchema::version ? Kind::newer : Kind::unavailable;
        return failure(fail(kind, "the file is of version " + std::to_string(*version)));
    }
    const auto isWhole = SyncTables::isWhole(database);
    if (!isWhole) return failure(report(isWhole.error(), "reading the schema"));
    if (!*isWhole) return failure(fail(Kind::damaged, "the tables are not those of a store"));
    std::error_code error;
    const bool isChecked =
        isSuspect || fs::file_size(file.path, error) <= largestCheckedAtOpening || error;
    if (use == Use::read || !isChecked) return {};
    const auto soundness = database.text("PRAGMA quick_check(1)");
    if (!soundness) return failure(report(soundness.error(), "checking"));
    if (*soundness != "ok") return failure(fail(Kind::damaged, "the file is damaged"));
    return {};
}

/// Puts a sound file with all that can be read in the place of a damaged one.
SyncResult<> SyncFile::mend() {
    const SqliteFile mended{file.with(".mended")};
    mended.remove(); // of a process that was killed here
    std::int64_t saved = 0;
    {
        auto source = SqliteDatabase::open(file.path);
        const bool isMade = mended.createPrivate();
        auto target = SqliteDatabase::open(mended.path);
        if (!source || !isMade || !target) {
            mended.remove();
            return failure(fail(Kind::unavailable, "a file beside the damaged one cannot be made"));
        }
        source->setLimited(true);
        const auto version = source->integer("PRAGMA user_version");
        source->setLimited(false);
        const auto copied = SyncTables::salvage(*source, *target, version.value_or(2));
        if (!copied) {
            mended.remove();
            return failure(report(copied.error(), "saving what can be read"));
        }
        saved = *copied;
    }
    const auto aside = file.setAside(mended);
    if (!aside)
        return failure(fail(
            Kind::unavailable, "the damaged file cannot be set aside: " + aside.error().message()));
    log.error("store: set aside as %s, transcripts saved: %lld", aside->filename().c_str(),
        static_cast<long long>(saved));
    return openForWriting();
}

} // namespace nimbe
