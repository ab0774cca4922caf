#include <cmath>

#include <gtest/gtest.h>

#include "NimbeUI/LevelMeter.h"
#include "NimbeUI/OverlayPlace.h"

namespace nimbe {

TEST(OverlayPlace, theScreenThatShowsMostOfTheWindow) {
    // The right one at 200 %: its interface is half as wide as its pixels.
    const std::vector<ScreenArea> screens{{{0, 0, 1920, 1080}, {0, 0, 1920, 1040}, 1},
        {{1920, 0, 1280, 720}, {1920, 0, 1280, 720}, 2}};
    struct Case {
        const char* why;
        std::optional<RunningApplication::Frame> target;
        QPoint pointer;
        std::size_t expected;
    };
    const QPoint onLeft(10, 10);
    const Case cases[] = {
        {"on the left, the pointer elsewhere", {{100, 100, 800, 600}}, {2000, 10}, 0},
        {"on the right", {{2000, 100, 800, 600}}, onLeft, 1},
        {"in native pixels: beyond the right one's width in the interface", {{3900, 900, 500, 400}},
            onLeft, 1},
        {"one pixel more on the right", {{1819, 0, 203, 100}}, onLeft, 1},
        {"one pixel more on the left", {{1818, 0, 203, 100}}, {2000, 10}, 0},
        {"on none: the pointer's", {{-900, -900, 100, 100}}, {2000, 10}, 1},
        {"without a size: the pointer's", {{100, 100, 0, 0}}, {2000, 10}, 1},
        {"no window: the pointer's", std::nullopt, {2000, 10}, 1},
        {"neither: the first", std::nullopt, {-5, -5}, 0},
    };
    for (const auto& c : cases)
        EXPECT_EQ(OverlayPlace::screen(screens, c.target, c.pointer), c.expected) << c.why;
    EXPECT_EQ(OverlayPlace::screen({}, std::nullopt, {}), 0U);
}

TEST(OverlayPlace, centredAboveThePanel) {
    const ScreenArea screen{{1920, 0, 1280, 720}, {1920, 0, 1280, 680}, 2};
    EXPECT_EQ(OverlayPlace::geometry(screen, {620, 220}), QRect(2250, 424, 620, 220));
    const ScreenArea low{{0, 300, 800, 200}, {0, 300, 800, 200}, 1};
    EXPECT_EQ(OverlayPlace::geometry(low, {620, 220}).y(), 300) << "not above the screen";
}

TEST(LevelMeter, barsAreTheLoudestOfTheirLevels) {
    using Bars = std::vector<double>;
    struct Case {
        const char* why;
        QList<double> levels;
        int count;
        Bars expected;
    };
    const Case cases[] = {
        {"two levels a bar, the newest last", {0.9, 0.1, 0.2, 0.3, 0.4}, 2, {0.2, 0.4}},
        {"few stand at the end", {0.5}, 3, {0, 0, 0.5}},
        {"none", {}, 2, {0, 0}},
        {"no room", {0.5}, 0, {}},
        {"what is no level", {std::nan(""), 7, -3, 0.25}, 2, {1, 0.25}},
    };
    for (const auto& c : cases) EXPECT_EQ(meterBars(c.levels, c.count), c.expected) << c.why;
}

} // namespace nimbe
