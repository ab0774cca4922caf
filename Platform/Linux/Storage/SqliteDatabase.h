#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

#include "Foundation/UserDefaults.h"

struct sqlite3;
struct sqlite3_stmt;

namespace nimbe {

/// Result codes of SQLite that callers tell apart; anything else is just not ok.
struct SqliteCode {
    int code = 0; // extended

    [[nodiscard]] bool isOk() const { return code == 0; }
    [[nodiscard]] bool isRow() const;
    [[nodiscard]] bool isDone() const;
    /// The file's bytes are not those of a sound database.
    [[nodiscard]] bool isDamage() const;
    /// The disk is full, or a file beside the database could not be made.
    [[nodiscard]] bool isForWantOfSpace() const;
    [[nodiscard]] const char* text() const;
};

/// A prepared statement. Positions count from 1 when binding, from 0 in rows,
/// as in SQLite itself.
class SqliteStatement {
public:
    SqliteStatement() = default;

    void bind(int position, std::string_view text);
    void bind(int position, std::int64_t number);
    void bind(int position, double number);
    void bindBytes(int position, std::string_view bytes); // lent until the next reset

    /// The value of another statement's row, of whichever type.
    void bindFrom(int position, const SqliteStatement& row, int column);

    /// Row or done; a failed preparation fails here.
    [[nodiscard]] SqliteCode step();
    void reset();

    [[nodiscard]] std::int64_t integer(int column) const;
    [[nodiscard]] double real(int column) const;
    [[nodiscard]] std::string_view bytes(int column) const; // valid until the next step
    [[nodiscard]] bool isInteger(int column) const;
    [[nodiscard]] bool isNull(int column) const;

private:
    friend class SqliteDatabase;
    struct Finalize {
        void operator()(sqlite3_stmt* statement) const;
    };
    std::unique_ptr<sqlite3_stmt, Finalize> statement;
    SqliteCode preparation;
};

/// A connection with the settings that every file of ours gets. One thread at a
/// time.
class SqliteDatabase {
public:
    /// An existing file, which may be empty. Nobody else in this process may open
    /// it: closing a file drops all locks that the process holds on it, SQLite's
    /// with them. Waits up to five seconds for other processes' locks, here and later.
    /// A file may hold anything: its schema is not trusted with functions.
    [[nodiscard]] static Result<SqliteDatabase, SqliteCode> open(const std::filesystem::path& file);

    /// For a file that nothing can write to. `withLog`: a write-ahead log stands
    /// beside it, with SQLite's index of that.
    enum class ReadOnly { withLog, unchanging };
    [[nodiscard]] static Result<SqliteDatabase, SqliteCode> openReadOnly(
        const std::filesystem::path& file, ReadOnly kind);

    [[nodiscard]] SqliteCode execute(const char* sql);
    [[nodiscard]] SqliteStatement prepare(std::string_view sql);

    // The first column of the first row; empty or 0 when there is no row.
    [[nodiscard]] Result<std::string, SqliteCode> text(std::string_view sql);
    [[nodiscard]] Result<std::int64_t, SqliteCode> integer(std::string_view sql);

    /// While on, a statement is cut off after 20 million steps of SQLite's virtual
    /// machine: for files whose views could run for ever.
    void setLimited(bool isLimited);

    /// False inside a transaction, until SQLite rolls it back by itself.
    [[nodiscard]] bool isAutocommitting() const;

private:
    struct Close {
        void operator()(sqlite3* database) const;
    };
    explicit SqliteDatabase(sqlite3* database) : database(database) {}
    [[nodiscard]] static Result<SqliteDatabase, SqliteCode> openWith(
        const std::string& name, int flags);
    std::unique_ptr<sqlite3, Close> database;
};

} // namespace nimbe
