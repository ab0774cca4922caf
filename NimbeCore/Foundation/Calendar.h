#pragma once

#include <memory>
#include <string>

#include "Foundation/Date.h"
#include "Foundation/Locale.h"

namespace nimbe {

/// Days and years as the user counts them, in a time zone and by the calendar of a
/// locale, and the locale's short forms of dates, by ICU. One thread at a time;
/// copies share their state. Making one costs about a millisecond.
class Calendar {
public:
    /// `timeZone` by its Olson name ("Europe/Berlin"); an unknown one counts as UTC.
    Calendar(const Locale& locale, const std::string& timeZone);

    /// The user's locale and time zone.
    [[nodiscard]] static Calendar user();

    [[nodiscard]] bool isSameDay(Date left, Date right) const;
    [[nodiscard]] bool isSameYear(Date left, Date right) const;

    /// The same time of day `count` days later, or earlier when negative; not a
    /// multiple of 24 hours where clocks are changed in between.
    [[nodiscard]] Date addingDays(Date date, int count) const;

    enum class Style {
        shortTime,   // 9:41 PM
        monthDay,    // Mar 7
        monthDayYear // Mar 7, 2026
    };
    [[nodiscard]] std::string format(Date date, Style style) const;

private:
    struct State;
    explicit Calendar(std::shared_ptr<State> state);
    std::shared_ptr<State> state;
};

} // namespace nimbe
