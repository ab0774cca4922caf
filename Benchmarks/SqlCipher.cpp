#include "SqlCipher.h"

#include <cstdio>
#include <cstdlib>
#include <dlfcn.h>
#include <vector>

#include <sqlite3.h>

namespace nimbe {
namespace {

void* const handle = ::dlopen("libsqlcipher.so.0", RTLD_NOW | RTLD_LOCAL | RTLD_DEEPBIND);

template <typename Function>
Function* symbol(const char* name) {
    void* found = handle ? ::dlsym(handle, name) : nullptr;
    if (!found) {
        std::fprintf(stderr, "nimbe-bench: libsqlcipher.so.0 has no %s\n", name);
        std::exit(1);
    }
    return reinterpret_cast<Function*>(found);
}

void expect(bool isRight, const char* what) {
    if (isRight) return;
    std::fprintf(stderr, "nimbe-bench: SQLCipher: %s failed\n", what);
    std::exit(1);
}

} // namespace

struct SqlCipher::Library {
    decltype(sqlite3_open)* open = symbol<decltype(sqlite3_open)>("sqlite3_open");
    decltype(sqlite3_close)* close = symbol<decltype(sqlite3_close)>("sqlite3_close");
    decltype(sqlite3_exec)* exec = symbol<decltype(sqlite3_exec)>("sqlite3_exec");
    decltype(sqlite3_prepare_v2)* prepare =
        symbol<decltype(sqlite3_prepare_v2)>("sqlite3_prepare_v2");
    decltype(sqlite3_bind_text)* bindText =
        symbol<decltype(sqlite3_bind_text)>("sqlite3_bind_text");
    decltype(sqlite3_bind_double)* bindDouble =
        symbol<decltype(sqlite3_bind_double)>("sqlite3_bind_double");
    decltype(sqlite3_step)* step = symbol<decltype(sqlite3_step)>("sqlite3_step");
    decltype(sqlite3_reset)* reset = symbol<decltype(sqlite3_reset)>("sqlite3_reset");
    decltype(sqlite3_column_text)* columnText =
        symbol<decltype(sqlite3_column_text)>("sqlite3_column_text");
    decltype(sqlite3_finalize)* finalize = symbol<decltype(sqlite3_finalize)>("sqlite3_finalize");
};

SqlCipher::SqlCipher(const std::filesystem::path& file)
    : library([]() -> const Library& {
          static const Library loaded;
          return loaded;
      }()) {
    expect(library.open(file.c_str(), &database) == SQLITE_OK, "opening");
    // The key as bytes: no derivation, as with a key from a keyring.
    execute("PRAGMA key = \"x'000102030405060708090a0b0c0d0e0f101112131415161718191a1b1c1d1e1f'\"");
    execute("PRAGMA journal_mode = WAL");
    execute("PRAGMA synchronous = FULL");
    execute("CREATE TABLE entries(id TEXT PRIMARY KEY, text TEXT NOT NULL, time REAL NOT NULL, "
            "mode TEXT NOT NULL, original TEXT)");
    execute("CREATE INDEX byTime ON entries(time)");
    insert = prepare("INSERT INTO entries VALUES(?, ?, ?, 'notes', NULL)");
    trim = prepare("DELETE FROM entries WHERE id IN "
                   "(SELECT id FROM entries ORDER BY time DESC LIMIT -1 OFFSET 100)");
    edit =
        prepare("UPDATE entries SET original = coalesce(original, text), text = ?2 WHERE id = ?1");
    all = prepare("SELECT id, text, time, mode, original FROM entries ORDER BY time DESC");
    like = prepare("SELECT id, text, time, mode, original FROM entries "
                   "WHERE text LIKE '%' || ? || '%' ORDER BY time DESC");
}

SqlCipher::~SqlCipher() {
    for (auto* statement : {insert, trim, edit, all, like}) library.finalize(statement);
    library.close(database);
}

void SqlCipher::execute(const char* sql) {
    expect(library.exec(database, sql, nullptr, nullptr, nullptr) == SQLITE_OK, sql);
}

sqlite3_stmt* SqlCipher::prepare(const char* sql) {
    sqlite3_stmt* statement = nullptr;
    expect(library.prepare(database, sql, -1, &statement, nullptr) == SQLITE_OK, sql);
    return statement;
}

void SqlCipher::bind(sqlite3_stmt* statement, int position, const std::string& text) {
    library.bindText(
        statement, position, text.data(), static_cast<int>(text.size()), SQLITE_TRANSIENT);
}

/// Copies the texts of all rows, as a caller would.
int SqlCipher::run(sqlite3_stmt* statement) {
    std::vector<std::string> texts;
    int code = SQLITE_OK;
    while ((code = library.step(statement)) == SQLITE_ROW) {
        const auto* text = library.columnText(statement, 1);
        texts.emplace_back(reinterpret_cast<const char*>(text));
    }
    expect(code == SQLITE_DONE, "a statement");
    library.reset(statement);
    return static_cast<int>(texts.size());
}

void SqlCipher::append(const std::string& id, const std::string& text, double time) {
    execute("BEGIN IMMEDIATE");
    bind(insert, 1, id);
    bind(insert, 2, text);
    library.bindDouble(insert, 3, time);
    (void)run(insert);
    (void)run(trim);
    execute("COMMIT");
}

void SqlCipher::update(const std::string& id, const std::string& text) {
    bind(edit, 1, id);
    bind(edit, 2, text);
    (void)run(edit);
}

int SqlCipher::entries() {
    return run(all);
}

int SqlCipher::search(const std::string& query) {
    bind(like, 1, query);
    return run(like);
}

} // namespace nimbe
