#pragma once

#include <iosfwd>
#include <string>
#include <vector>

#include "Foundation/Calendar.h"
#include "NimbeKitCore/History/DictationEntry.h"

namespace nimbe {

/// The history as people and scripts read it.
namespace historyText {

/// An object with "id", "text", "timestamp" in ISO 8601, "mode" and, for a note
/// that was edited, "originalText"; lists are arrays of them.
[[nodiscard]] std::string json(const DictationEntry& entry);
[[nodiscard]] std::string json(const std::vector<DictationEntry>& entries);
/// The same with "deletedAt" and "wasSynced".
[[nodiscard]] std::string json(const std::vector<TrashedEntry>& items);

/// A line for each entry: the first digits of its id, its time, mode and the
/// beginning of its text, without control characters.
void writeSections(std::ostream& output, const std::vector<DictationEntry>& entries, Date now,
    const Calendar& calendar);
/// Without headings, the day beside each.
void writeRows(std::ostream& output, const std::vector<DictationEntry>& entries, Date now,
    const Calendar& calendar);
/// With the day of the deletion.
void writeRows(std::ostream& output, const std::vector<TrashedEntry>& items, Date now,
    const Calendar& calendar);

} // namespace historyText
} // namespace nimbe
