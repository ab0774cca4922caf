#include <limits>

#include <gtest/gtest.h>

#include "NimbeKitCore/CrashSentinel.h"

namespace nimbe {

TEST(CrashSentinel, goingLocalIsOfferedFromTheSecondUncleanEndOn) {
    struct Case {
        const char* why;
        bool unclean;
        std::int64_t prior;
        CrashSentinel::LaunchAssessment expected;
    };
    const Case cases[] = {
        {"a clean end", false, 0, {false, 0, false}},
        {"a clean end ends the row", false, 7, {false, 0, false}},
        {"the first", true, 0, {true, 1, false}},
        {"the second in a row", true, 1, {true, 2, true}},
        {"and on", true, 41, {true, 42, true}},
    };
    for (const auto& c : cases)
        EXPECT_EQ(CrashSentinel::assess(c.unclean, c.prior), c.expected) << c.why;
    EXPECT_DEATH((void)CrashSentinel::assess(true, std::numeric_limits<std::int64_t>::max()), "");
}

} // namespace nimbe
