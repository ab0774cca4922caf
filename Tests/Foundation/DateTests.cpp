#include <limits>

#include <gtest/gtest.h>

#include "Foundation/ISO8601.h"

namespace nimbe {

TEST(ISO8601, readsAndWritesTheSameMoment) {
    struct Case {
        const char* text;
        double unixSeconds;
        const char* canonical;
    };
    // Moments from GNU date -u -d TEXT +%s.
    const Case cases[] = {
        {"2026-03-07T21:48:30Z", 1772920110, "2026-03-07T21:48:30Z"},
        {"2026-03-07T23:48:30+02:00", 1772920110, "2026-03-07T21:48:30Z"},
        {"2026-03-07T23:48:30+0200", 1772920110, "2026-03-07T21:48:30Z"},
        {"2026-03-07T12:18:30-09:30", 1772920110, "2026-03-07T21:48:30Z"},
        {"2024-02-29T00:00:00Z", 1709164800, "2024-02-29T00:00:00Z"},
        {"1969-12-31T23:59:59Z", -1, "1969-12-31T23:59:59Z"},
        {"0001-01-01T00:00:00Z", -62135596800, "0001-01-01T00:00:00Z"},
        {"9999-12-31T23:59:59Z", 253402300799, "9999-12-31T23:59:59Z"},
    };
    for (const auto& c : cases) {
        const auto date = iso8601::parse(c.text);
        ASSERT_TRUE(date) << c.text;
        EXPECT_EQ(date->unixSeconds(), c.unixSeconds) << c.text;
        EXPECT_EQ(iso8601::format(*date), c.canonical) << c.text;
    }
}

TEST(ISO8601, refusesEverythingElse) {
    const char* cases[] = {"", "2026-03-07", "2026-03-07T21:48:30", "2026-03-07T21:48:30.5Z",
        "2026-03-07 21:48:30Z", "2026-03-07t21:48:30z", "2026-02-29T00:00:00Z",
        "2026-13-01T00:00:00Z", "2026-00-01T00:00:00Z", "2026-01-32T00:00:00Z",
        "2026-01-01T24:00:00Z", "2026-01-01T23:60:00Z", "2026-01-01T23:59:60Z",
        "2026-01-01T00:00:00ZZ", "2026-01-01T00:00:00+2", "2026-01-01T00:00:00+02:0",
        "2026-01-01T00:00:00+24:00", "+026-01-01T00:00:00Z", "20260101T000000Z",
        " 2026-01-01T00:00:00Z"};
    for (const char* text : cases) EXPECT_FALSE(iso8601::parse(text)) << text;
}

TEST(ISO8601, dropsFractionsDownwardsAndHoldsAtTheEnds) {
    EXPECT_EQ(iso8601::format(Date::fromUnix(0.999)), "1970-01-01T00:00:00Z");
    EXPECT_EQ(iso8601::format(Date::fromUnix(-0.001)), "1969-12-31T23:59:59Z");
    constexpr double infinity = std::numeric_limits<double>::infinity();
    EXPECT_EQ(iso8601::format(Date{infinity}), "9999-12-31T23:59:59Z");
    EXPECT_EQ(iso8601::format(Date{-infinity}), "0000-01-01T00:00:00Z");
    EXPECT_EQ(iso8601::format(Date{std::numeric_limits<double>::quiet_NaN()}).size(), 20U);
}

} // namespace nimbe
