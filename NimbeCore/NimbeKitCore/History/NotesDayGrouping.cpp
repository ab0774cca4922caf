#include "NimbeKitCore/History/NotesDayGrouping.h"

namespace nimbe {
namespace {

constexpr const char* yesterday = "Yesterday";

bool isYesterday(Date date, Date now, const Calendar& calendar) {
    return calendar.isSameDay(date, calendar.addingDays(now, -1));
}

} // namespace

std::string NotesDayGrouping::title(Date date, Date now, const Calendar& calendar) {
    using enum Calendar::Style;
    if (calendar.isSameDay(date, now)) return "Today";
    if (isYesterday(date, now, calendar)) return yesterday;
    return calendar.format(date, calendar.isSameYear(date, now) ? monthDay : monthDayYear);
}

std::vector<NotesDayGrouping::Section> NotesDayGrouping::sections(
    const std::vector<DictationEntry>& entries, Date now, const Calendar& calendar) {
    std::vector<Section> result;
    for (const auto& entry : entries) {
        auto title = NotesDayGrouping::title(entry.timestamp, now, calendar);
        if (result.empty() || result.back().title != title)
            result.push_back({std::move(title), {}});
        result.back().entries.push_back(entry);
    }
    return result;
}

std::string NoteTimestamp::label(Date date, Date now, const Calendar& calendar) {
    using enum Calendar::Style;
    if (calendar.isSameDay(date, now)) return calendar.format(date, shortTime);
    if (isYesterday(date, now, calendar)) return yesterday;
    return calendar.format(date, monthDay);
}

} // namespace nimbe
