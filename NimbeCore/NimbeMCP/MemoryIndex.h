#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "NimbeMCP/MemoryRecord.h"

namespace nimbe {

/// One state of the records, prepared for being asked: texts in lower case one behind the
/// other, ids in a hash table; each is made when it is first asked. Gives what a look at
/// every record would give. One thread at a time.
class MemoryIndex {
public:
    /// Positions in the records.
    struct Range {
        std::size_t begin = 0;
        std::size_t end = 0;
        [[nodiscard]] std::size_t size() const { return end - begin; }
    };

    explicit MemoryIndex(std::shared_ptr<const MemoryRecords> records);

    [[nodiscard]] const std::shared_ptr<const MemoryRecords>& records() const { return all; }
    [[nodiscard]] const MemoryRecord& operator[](std::size_t position) const {
        return (*all)[position];
    }

    /// The records of that time, both ends included.
    [[nodiscard]] Range between(std::optional<Date> since, std::optional<Date> until) const;

    /// The first `most` records that answer the query. Linear in the length of the texts.
    [[nodiscard]] std::vector<std::size_t> search(const MemoryQuery& query, std::size_t most);

    /// Null when no record has the id.
    [[nodiscard]] const MemoryRecord* find(std::string_view id);

private:
    std::shared_ptr<const MemoryRecords> all;
    std::string lowered;              // each text and a line break, which no word holds
    std::vector<std::size_t> begins;  // in `lowered`, one more than there are records
    std::vector<std::uint32_t> slots; // positions + 1; 0: free

    void lowerTexts();
    void hashIds();
    [[nodiscard]] bool holds(std::size_t position, std::string_view word) const;
};

} // namespace nimbe
