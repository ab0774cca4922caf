#pragma once

#include <string>
#include <vector>

#include "Foundation/Calendar.h"
#include "NimbeKitCore/History/DictationEntry.h"

namespace nimbe {

/// The day headings of the notes list.
struct NotesDayGrouping {
    struct Section {
        std::string title;
        std::vector<DictationEntry> entries;

        friend bool operator==(const Section&, const Section&) = default;
    };

    /// Runs of entries of one title, in the order given, which must be newest first.
    [[nodiscard]] static std::vector<Section> sections(
        const std::vector<DictationEntry>& entries, Date now, const Calendar& calendar);

    /// "Today", "Yesterday", or the day, with the year unless it is this one.
    [[nodiscard]] static std::string title(Date date, Date now, const Calendar& calendar);
};

/// The short time beside a note.
struct NoteTimestamp {
    /// The time for today, "Yesterday", or the day without its year.
    [[nodiscard]] static std::string label(Date date, Date now, const Calendar& calendar);
};

} // namespace nimbe
