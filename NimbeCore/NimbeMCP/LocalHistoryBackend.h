#pragma once

#include <optional>

#include "NimbeMCP/MemoryBackend.h"
#include "NimbeMCP/MemoryIndex.h"

namespace nimbe {

/// Answers from this device alone. The source is asked at every call; as long as it gives
/// the same records, they are not prepared again.
class LocalHistoryBackend final : public MemoryBackend {
public:
    static constexpr std::size_t snippetLength = 200; // user-perceived characters

    /// Lent; must outlive this.
    explicit LocalHistoryBackend(MemoryRecordSource& source) : source(source) {}

    [[nodiscard]] std::vector<SearchHit> search(const MemoryQuery& query) override;
    [[nodiscard]] std::optional<MemoryRecord> get(std::string_view id) override;
    [[nodiscard]] Page list(std::int64_t limit, std::optional<std::string_view> cursor,
        std::optional<Date> since, std::optional<Date> until) override;

private:
    MemoryRecordSource& source;
    std::optional<MemoryIndex> known;

    [[nodiscard]] MemoryIndex& index();
};

} // namespace nimbe
