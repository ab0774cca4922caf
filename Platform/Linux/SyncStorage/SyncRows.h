#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "NimbeSync/SyncSchema.h"
#include "PlatformStorage/SqliteDatabase.h"

namespace nimbe {

/// How records stand in the rows of the synced store's tables.
namespace syncRows {

[[nodiscard]] Bytes bytesOf(std::string_view view);
[[nodiscard]] std::string_view viewOf(const Bytes& bytes);
[[nodiscard]] std::int64_t flag(bool isSet);

/// Eight bytes a number, the highest first; bytes that make no whole number are left out.
[[nodiscard]] std::string encoded(const std::vector<std::uint64_t>& changes);
[[nodiscard]] std::vector<std::uint64_t> decoded(std::string_view bytes);

/// The statements of a kind's table; columns as modelOf() reads them.
struct Statements {
    const char* one;
    const char* firstPage;
    const char* nextPage; // ?2: the limit; ?1 and ?3: the last id and time of the page before
    const char* write;    // with what bind() binds
    const char* erase;
};
[[nodiscard]] const Statements& statementsFor(SyncKind kind);

/// Absent for a row that no version has written.
[[nodiscard]] std::optional<SyncModel> modelOf(SyncKind kind, const SqliteStatement& row);
void bind(SqliteStatement& statement, const SyncModel& model);

} // namespace syncRows
} // namespace nimbe
