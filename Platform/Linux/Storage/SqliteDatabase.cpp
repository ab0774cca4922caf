#include "PlatformStorage/SqliteDatabase.h"

#include <sqlite3.h>

namespace nimbe {
namespace {

constexpr int patienceMilliseconds = 5000;
constexpr int limitedSteps = 20'000'000;

int stop(void* /*context*/) {
    return 1;
}

} // namespace

bool SqliteCode::isRow() const {
    return code == SQLITE_ROW;
}

bool SqliteCode::isDone() const {
    return code == SQLITE_DONE;
}

bool SqliteCode::isDamage() const {
    const int primary = code & 0xFF;
    return primary == SQLITE_CORRUPT || primary == SQLITE_NOTADB;
}

bool SqliteCode::isForWantOfSpace() const {
    const int primary = code & 0xFF;
    return primary == SQLITE_FULL || primary == SQLITE_IOERR || primary == SQLITE_CANTOPEN;
}

const char* SqliteCode::text() const {
    return sqlite3_errstr(code);
}

void SqliteStatement::Finalize::operator()(sqlite3_stmt* statement) const {
    sqlite3_finalize(statement);
}

void SqliteStatement::bind(int position, std::string_view text) {
    sqlite3_bind_text64(
        statement.get(), position, text.data(), text.size(), SQLITE_TRANSIENT, SQLITE_UTF8);
}

void SqliteStatement::bind(int position, std::int64_t number) {
    sqlite3_bind_int64(statement.get(), position, number);
}

void SqliteStatement::bind(int position, double number) {
    sqlite3_bind_double(statement.get(), position, number);
}

void SqliteStatement::bindFrom(int position, const SqliteStatement& row, int column) {
    sqlite3_bind_value(
        statement.get(), position, sqlite3_column_value(row.statement.get(), column));
}

void SqliteStatement::bindBytes(int position, std::string_view bytes) {
    // A null pointer would bind NULL: no bytes are still a value.
    const char* data = bytes.empty() ? "" : bytes.data();
    sqlite3_bind_blob64(statement.get(), position, data, bytes.size(), SQLITE_STATIC);
}

SqliteCode SqliteStatement::step() {
    if (!statement) return preparation;
    return {sqlite3_step(statement.get())};
}

void SqliteStatement::reset() {
    if (!statement) return;
    sqlite3_reset(statement.get());
    sqlite3_clear_bindings(statement.get());
}

std::int64_t SqliteStatement::integer(int column) const {
    return sqlite3_column_int64(statement.get(), column);
}

double SqliteStatement::real(int column) const {
    return sqlite3_column_double(statement.get(), column);
}

std::string_view SqliteStatement::bytes(int column) const {
    const auto* data = static_cast<const char*>(sqlite3_column_blob(statement.get(), column));
    const int size = sqlite3_column_bytes(statement.get(), column);
    return data ? std::string_view(data, static_cast<std::size_t>(size)) : std::string_view();
}

bool SqliteStatement::isInteger(int column) const {
    return sqlite3_column_type(statement.get(), column) == SQLITE_INTEGER;
}

bool SqliteStatement::isNull(int column) const {
    return sqlite3_column_type(statement.get(), column) == SQLITE_NULL;
}

void SqliteDatabase::Close::operator()(sqlite3* database) const {
    sqlite3_close_v2(database);
}

Result<SqliteDatabase, SqliteCode> SqliteDatabase::open(const std::filesystem::path& file) {
    return openWith(file.string(), SQLITE_OPEN_READWRITE);
}

Result<SqliteDatabase, SqliteCode> SqliteDatabase::openReadOnly(
    const std::filesystem::path& file, ReadOnly kind) {
    // https://www.sqlite.org/uri.html: the path ends at a question mark or a hash.
    std::string name = "file:";
    for (const char c : file.string()) {
        switch (c) {
        case '%': name += "%25"; break;
        case '?': name += "%3f"; break;
        case '#': name += "%23"; break;
        default: name += c;
        }
    }
    name += kind == ReadOnly::unchanging ? "?immutable=1" : "?mode=ro";
    return openWith(name, SQLITE_OPEN_READONLY | SQLITE_OPEN_URI);
}

Result<SqliteDatabase, SqliteCode> SqliteDatabase::openWith(const std::string& name, int flags) {
    sqlite3* handle = nullptr;
    const int code = sqlite3_open_v2(
        name.c_str(), &handle, flags | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_EXRESCODE, nullptr);
    SqliteDatabase database(handle);
    if (code != SQLITE_OK) return failure(SqliteCode{code});
    sqlite3_busy_timeout(handle, patienceMilliseconds);
    sqlite3_db_config(handle, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
    sqlite3_db_config(handle, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
    const auto careful = database.execute("PRAGMA cell_size_check = ON");
    if (!careful.isOk()) return failure(careful);
    return database;
}

SqliteCode SqliteDatabase::execute(const char* sql) {
    return {sqlite3_exec(database.get(), sql, nullptr, nullptr, nullptr)};
}

SqliteStatement SqliteDatabase::prepare(std::string_view sql) {
    SqliteStatement result;
    sqlite3_stmt* statement = nullptr;
    result.preparation.code = sqlite3_prepare_v3(database.get(), sql.data(),
        static_cast<int>(sql.size()), SQLITE_PREPARE_PERSISTENT, &statement, nullptr);
    result.statement.reset(statement);
    return result;
}

Result<std::string, SqliteCode> SqliteDatabase::text(std::string_view sql) {
    auto statement = prepare(sql);
    const auto code = statement.step();
    if (code.isDone()) return std::string();
    if (!code.isRow()) return failure(code);
    return std::string(statement.bytes(0));
}

Result<std::int64_t, SqliteCode> SqliteDatabase::integer(std::string_view sql) {
    auto statement = prepare(sql);
    const auto code = statement.step();
    if (code.isDone()) return 0;
    if (!code.isRow()) return failure(code);
    return statement.integer(0);
}

void SqliteDatabase::setLimited(bool isLimited) {
    sqlite3_progress_handler(
        database.get(), isLimited ? limitedSteps : 0, isLimited ? stop : nullptr, nullptr);
}

bool SqliteDatabase::isAutocommitting() const {
    return sqlite3_get_autocommit(database.get()) != 0;
}

} // namespace nimbe
