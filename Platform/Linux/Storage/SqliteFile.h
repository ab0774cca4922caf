#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

#include "PlatformStorage/SqliteDatabase.h"

namespace nimbe {

/// A SQLite database as files in a folder: a file of mode 0600 in a folder of mode 0700, its
/// log beside it. Any thread.
struct SqliteFile {
    std::filesystem::path path;

    /// The file beside it whose name goes on so.
    [[nodiscard]] std::filesystem::path with(std::string_view suffix) const;

    /// Makes the folder where there is none.
    [[nodiscard]] std::error_code prepareFolder() const;

    /// Makes an empty file that only its owner may read; true also when it is there.
    /// Never opens an existing one, see SqliteDatabase::open.
    [[nodiscard]] bool createPrivate() const;

    /// Whether the folder takes files and the file, if there, takes writes.
    [[nodiscard]] bool isWritable() const;

    /// Whether there is a log beside it from which it must be read along.
    [[nodiscard]] bool hasLog() const;

    /// Without locks, where nothing may be written.
    [[nodiscard]] Result<SqliteDatabase, SqliteCode> openReadOnly() const;

    /// Which file the path names; absent: none.
    struct Identity {
        std::uint64_t device = 0;
        std::uint64_t inode = 0;
        friend bool operator==(const Identity&, const Identity&) = default;
    };
    [[nodiscard]] std::optional<Identity> identity() const;

    /// Differs when the path names another file, or it or its log may have been written to.
    struct State {
        struct Part {
            Identity identity;
            std::int64_t size = 0;
            std::int64_t seconds = 0; // when it was changed, and
            std::int64_t nanoseconds = 0;
            friend bool operator==(const Part&, const Part&) = default;
        };
        std::optional<Part> file; // absent: none
        std::optional<Part> log;
        friend bool operator==(const State&, const State&) = default;
    };
    [[nodiscard]] State state() const;

    /// Removes a half-made file with what SQLite leaves beside it.
    void remove() const;

    /// Puts `mended` in the place of this file, which stays beside it as "….damaged-DATE",
    /// its log with it; its name. The path names a whole file at every moment of it. Under the
    /// lock that keeps other processes from opening it.
    [[nodiscard]] Result<std::filesystem::path, std::error_code> setAside(
        const SqliteFile& mended) const;
};

} // namespace nimbe
