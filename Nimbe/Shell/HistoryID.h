#pragma once

#include <algorithm>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "Foundation/Result.h"
#include "NimbeKitCore/History/DictationEntry.h"
#include "NimbeKitCore/History/HistoryVault.h"

namespace nimbe {

/// How a person names a dictation: its id whole, or the first digits of it.
struct HistoryID {
    /// Upper case; absent for what cannot be the beginning of an id, or is shorter than
    /// four digits.
    [[nodiscard]] static std::optional<std::string> prefix(const std::string& text);
    /// Why there is none: a sentence.
    [[nodiscard]] static std::string refusal(const std::string& text);

    [[nodiscard]] static const UUID& of(const DictationEntry& entry) { return entry.id; }
    [[nodiscard]] static const UUID& of(const TrashedEntry& item) { return item.entry.id; }

    /// The record that the id names, or a sentence that none or several do. `where` ends
    /// the name of the place: " in Recently Deleted".
    template <typename Record>
    [[nodiscard]] static Result<const Record*, std::string> find(
        const std::vector<Record>& records, const std::string& id, const char* where = "") {
        const auto first = prefix(id).value_or("");
        const auto isNamed = [&](const Record& record) {
            return of(record).text().starts_with(first);
        };
        const auto found = std::find_if(records.begin(), records.end(), isNamed);
        if (found == records.end()) return failure("There is no dictation " + id + where + ".");
        // The same id twice in the trash is one dictation.
        const bool isClear = std::all_of(found + 1, records.end(),
            [&](const Record& record) { return !isNamed(record) || of(record) == of(*found); });
        if (isClear) return &*found;
        return failure("Several dictations begin with " + id + ". Give more of the id.");
    }
};

/// What kept the history from its work, and what to do about it.
void sayProblem(const HistoryProblem& problem, const char* verb, std::ostream& error);

} // namespace nimbe
