#include <cmath>
#include <limits>
#include <vector>

#include <gtest/gtest.h>

#include "NimbeEngine/Audio/AudioLevel.h"

namespace nimbe {

TEST(AudioLevel, isLinearInDecibelsAndStaysInItsRange) {
    constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();
    constexpr float infinite = std::numeric_limits<float>::infinity();
    struct Case {
        const char* why;
        std::vector<float> samples;
        double level;
    };
    const Case cases[] = {
        {"nothing", {}, 0},
        {"silence", std::vector<float>(4096, 0.0F), 0},
        {"a full-scale square wave", {1, -1, 1, -1}, 1},
        {"beyond full scale", {8, -8}, 1},
        {"-40 dBFS", std::vector<float>(4096, 0.01F), 1.0 / 3},
        {"-60 dBFS", {0.001F, -0.001F}, 0},
        {"just above", {0.00112F}, (20 * std::log10(0.00112) + 60) / 60},
        {"damaged samples are silent ones", {notANumber, infinite, 0, 0}, 0},
        {"and do not hide the others", {notANumber, 1},
            (20 * std::log10(std::sqrt(0.5)) + 60) / 60},
    };
    for (const auto& c : cases) EXPECT_NEAR(audioLevel(c.samples), c.level, 1e-6) << c.why;
}

TEST(ConversionCapacity, holdsWhatOneTapBufferBecomes) {
    struct Case {
        double input;
        double target;
        std::optional<std::uint32_t> capacity;
    };
    constexpr double infinite = std::numeric_limits<double>::infinity();
    const Case cases[] = {
        {48'000, 16'000, 5'120},
        {16'000, 48'000, 13'312},
        {44'100, 48'000, 5'482}, // 4458.2 frames, truncated
        {1, 2, 9'216},           // the ratio is the target rate itself
        {1.0001, 2, 9'215},
        {0, 16'000, 65'537'024},
        {1, 1'048'576, std::nullopt},  // 2^32 frames
        {1, 1'048'575, 4'294'964'224}, // the last that fits
        {48'000, infinite, std::nullopt},
        {std::numeric_limits<double>::quiet_NaN(), 16'000, 65'537'024},
        {48'000, std::numeric_limits<double>::quiet_NaN(), std::nullopt},
    };
    for (const auto& c : cases)
        EXPECT_EQ(conversionCapacity(c.input, c.target), c.capacity) << c.input << " " << c.target;
}

} // namespace nimbe
