#pragma once

#include <filesystem>
#include <string>

struct sqlite3;
struct sqlite3_stmt;

namespace nimbe {

/// A table of dictations in an SQLCipher database, as a program would write it that
/// keeps one row an entry: write-ahead log, synced commits, at most 100 rows. The
/// library exports SQLite's own names and so is loaded beside it, not linked.
class SqlCipher {
public:
    explicit SqlCipher(const std::filesystem::path& file);
    ~SqlCipher();
    SqlCipher(const SqlCipher&) = delete;
    SqlCipher& operator=(const SqlCipher&) = delete;

    void append(const std::string& id, const std::string& text, double time);
    void update(const std::string& id, const std::string& text);
    /// Reads every row; how many.
    [[nodiscard]] int entries();
    /// By LIKE, which folds ASCII case only.
    [[nodiscard]] int search(const std::string& query);

private:
    struct Library;
    const Library& library;
    sqlite3* database = nullptr;
    sqlite3_stmt* insert = nullptr;
    sqlite3_stmt* trim = nullptr;
    sqlite3_stmt* edit = nullptr;
    sqlite3_stmt* all = nullptr;
    sqlite3_stmt* like = nullptr;

    void execute(const char* sql);
    [[nodiscard]] sqlite3_stmt* prepare(const char* sql);
    void bind(sqlite3_stmt* statement, int position, const std::string& text);
    int run(sqlite3_stmt* statement);
};

} // namespace nimbe
