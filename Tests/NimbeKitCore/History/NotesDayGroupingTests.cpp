#include <cstdlib>

#include <gtest/gtest.h>

#include "Foundation/ISO8601.h"
#include "NimbeKitCore/History/NotesDayGrouping.h"

namespace nimbe {
namespace {

Date at(std::string_view text) {
    return iso8601::parse(text).value();
}

} // namespace

// On 2026-03-29 clocks in Berlin go from 02:00 to 03:00 (a day of 23 hours), on
// 2026-10-25 from 03:00 back to 02:00 (25 hours).
TEST(NotesDayGrouping, daysAreThoseOfTheUsersCalendar) {
    struct Case {
        const char* why;
        const char* date;
        const char* now;
        const char* locale;
        const char* zone;
        const char* title;
        const char* label;
    };
    const Case cases[] = {
        {"just now", "2026-03-07T21:48:30Z", "2026-03-07T21:48:30Z", "en_US", "UTC", "Today",
            "9:48\xE2\x80\xAFPM"},
        {"a minute past midnight", "2026-03-08T00:01:00Z", "2026-03-08T12:00:00Z", "en_GB", "UTC",
            "Today", "00:01"},
        {"a minute before", "2026-03-07T23:59:00Z", "2026-03-08T12:00:00Z", "en_US", "UTC",
            "Yesterday", "Yesterday"},
        {"the day before", "2026-03-06T23:59:00Z", "2026-03-08T12:00:00Z", "en_US", "UTC", "Mar 6",
            "Mar 6"},
        {"later today: the clock was set back", "2026-03-08T13:00:00Z", "2026-03-08T12:00:00Z",
            "de_DE", "UTC", "Today", "13:00"},
        {"tomorrow", "2026-03-09T13:00:00Z", "2026-03-08T12:00:00Z", "en_US", "UTC", "Mar 9",
            "Mar 9"},
        {"last year", "2025-12-30T12:00:00Z", "2026-01-01T12:00:00Z", "en_US", "UTC",
            "Dec 30, 2025", "Dec 30"},
        {"New Year's Eve is yesterday first", "2025-12-31T12:00:00Z", "2026-01-01T12:00:00Z",
            "en_US", "UTC", "Yesterday", "Yesterday"},
        {"the year ends by the local clock", "2026-12-31T23:30:00Z", "2027-01-02T23:30:00Z",
            "en_US", "Europe/Berlin", "Jan 1", "Jan 1"},
        {"23 hours ago on the short day", "2026-03-28T23:30:00Z", "2026-03-29T21:30:00Z", "de_DE",
            "Europe/Berlin", "Today", "00:30"},
        {"after the short day: 23:30 to 00:10", "2026-03-28T22:30:00Z", "2026-03-29T22:10:00Z",
            "de_DE", "Europe/Berlin", "28. M\xC3\xA4rz", "28. M\xC3\xA4rz"},
        {"24.5 hours ago on the long day", "2026-10-24T22:15:00Z", "2026-10-25T22:45:00Z", "de_DE",
            "Europe/Berlin", "Today", "00:15"},
        {"24.5 hours ago and yesterday", "2026-10-25T22:30:00Z", "2026-10-26T23:00:00Z", "de_DE",
            "Europe/Berlin", "25. Okt.", "25. Okt."},
        {"the day's and the month's order is the locale's", "2026-03-01T12:00:00Z",
            "2026-03-08T12:00:00Z", "ja_JP", "Asia/Tokyo",
            "3\xE6\x9C\x88"
            "1\xE6\x97\xA5",
            "3\xE6\x9C\x88"
            "1\xE6\x97\xA5"},
        {"Buddhist years", "2025-03-01T12:00:00Z", "2026-03-08T12:00:00Z",
            "en_TH@calendar=buddhist", "UTC", "Mar 1, 2568 BE", "Mar 1"},
        // 1 Farvardin 1405 is 2026-03-21.
        {"the Persian year has just begun", "2026-03-19T12:00:00Z", "2026-03-22T12:00:00Z",
            "en_US@calendar=persian", "UTC", "Esfand 28, 1404 AP", "Esfand 28"},
        {"and lasts beyond January", "2026-12-30T12:00:00Z", "2027-01-08T12:00:00Z",
            "en_US@calendar=persian", "UTC", "Dey 9", "Dey 9"},
        {"an unknown zone is UTC", "2026-03-08T00:30:00Z", "2026-03-08T12:00:00Z", "en_GB",
            "Moon/Tycho", "Today", "00:30"},
    };
    for (const auto& c : cases) {
        const Calendar calendar({c.locale}, c.zone);
        EXPECT_EQ(NotesDayGrouping::title(at(c.date), at(c.now), calendar), c.title) << c.why;
        EXPECT_EQ(NoteTimestamp::label(at(c.date), at(c.now), calendar), c.label) << c.why;
    }
    EXPECT_EQ(Calendar({"th_TH"}, "UTC")
                  .format(at("2026-03-01T12:00:00Z"), Calendar::Style::monthDayYear),
        "1 มี.ค. 2569")
        << "the locale's own calendar";
}

TEST(NotesDayGrouping, theUsersZoneIsTakenInEveryForm) {
    ::setenv("LC_ALL", "en_GB.UTF-8", 1);
    struct Case {
        const char* zone;
        const char* time;
    };
    const Case cases[] = {{"UTC", "12:00"}, {"Asia/Kolkata", "17:30"}, {":Asia/Tokyo", "21:00"},
        {"ABC5", "07:00"}, {"<+03>-3", "15:00"}};
    const Date noon = at("2026-07-07T12:00:00Z");
    for (const auto& c : cases) {
        ::setenv("TZ", c.zone, 1);
        EXPECT_EQ(NoteTimestamp::label(noon, noon, Calendar::user()), c.time) << c.zone;
    }
}

TEST(NotesDayGrouping, sectionsAreRunsInTheOrderGiven) {
    const Calendar calendar({"en_US"}, "UTC");
    const auto entry = [](const char* time) {
        return DictationEntry{UUID::random(), "x", at(time), DictationMode::notes};
    };
    const auto a = entry("2026-03-08T09:00:00Z");
    const auto b = entry("2026-03-08T08:00:00Z");
    const auto c = entry("2026-03-07T23:59:00Z");
    const Date now = at("2026-03-08T12:00:00Z");
    using Sections = std::vector<NotesDayGrouping::Section>;
    EXPECT_EQ(NotesDayGrouping::sections({a, b, c}, now, calendar),
        (Sections{{"Today", {a, b}}, {"Yesterday", {c}}}));
    EXPECT_EQ(NotesDayGrouping::sections({a, c, b}, now, calendar),
        (Sections{{"Today", {a}}, {"Yesterday", {c}}, {"Today", {b}}}));
    EXPECT_TRUE(NotesDayGrouping::sections({}, now, calendar).empty());
}

} // namespace nimbe
