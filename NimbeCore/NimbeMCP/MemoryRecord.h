#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Foundation/Date.h"

namespace nimbe {

/// A dictation as clients see it, wherever it is kept.
struct MemoryRecord {
    std::string id; // of the dictation: UUID text in upper case
    std::string text;
    Date createdAt;
    std::string mode; // DictationMode's raw value, or a newer one's

    friend bool operator==(const MemoryRecord&, const MemoryRecord&) = default;
};

using MemoryRecords = std::vector<MemoryRecord>;

struct SearchHit {
    std::string id;
    std::string snippet; // the text's first 200 characters, "…" where more follow
    double score = 1;    // all that is found counts the same
    Date createdAt;
    std::string mode;
};

struct MemoryQuery {
    std::string text; // words, all of which must be there; none: everything is found
    std::int64_t limit = 10;
    std::optional<Date> since = std::nullopt; // inclusive, as is `until`
    std::optional<Date> until = std::nullopt;
    std::optional<std::string> mode = std::nullopt; // exactly
};

/// Where the records come from. One thread at a time; fails towards nobody: what cannot
/// be read is left out.
class MemoryRecordSource {
public:
    virtual ~MemoryRecordSource() = default;

    /// All of them as they are now, newest first, no id twice, all UTF-8. The same object
    /// as long as nothing has changed.
    [[nodiscard]] virtual std::shared_ptr<const MemoryRecords> records() = 0;
};

} // namespace nimbe
