#pragma once

#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "NimbeMCP/MemoryRecord.h"

namespace nimbe {

/// What the tools ask. One thread at a time.
class MemoryBackend {
public:
    struct Page {
        std::shared_ptr<const MemoryRecords> kept; // of which the page is a part
        std::span<const MemoryRecord> records;
        std::optional<std::string> nextCursor; // absent: this was the last one
    };

    virtual ~MemoryBackend() = default;

    /// Newest first; none for a limit of 0 or less.
    [[nodiscard]] virtual std::vector<SearchHit> search(const MemoryQuery& query) = 0;
    /// By the whole id, in its case.
    [[nodiscard]] virtual std::optional<MemoryRecord> get(std::string_view id) = 0;
    /// Newest first, from where `cursor` says; a cursor that is none begins at the newest.
    [[nodiscard]] virtual Page list(std::int64_t limit, std::optional<std::string_view> cursor,
        std::optional<Date> since, std::optional<Date> until) = 0;
};

} // namespace nimbe
