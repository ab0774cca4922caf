#include <string>

#include <gtest/gtest.h>

#include "NimbeEngine/Cleanup/CleanupPolicy.h"
#include "NimbeEngine/Cleanup/MacCleanupPolicy.h"

namespace nimbe {
namespace {

std::string repeated(std::string_view character, std::size_t count) {
    std::string text;
    for (std::size_t i = 0; i < count; ++i) text += character;
    return text;
}

} // namespace

TEST(CleanupPolicy, aCleanedTextMayGrowByThreeFifths) {
    struct Case {
        const char* why;
        std::size_t source, cleaned;
        bool isAccepted;
    };
    const Case cases[] = {
        {"nothing grown", 200, 200, true},
        {"no lower bound", 5000, 1, true},
        {"a short answer to nearly nothing", 1, 80, true},
        {"one more than that", 1, 81, false},
        {"80 is both limits", 50, 80, true},
        {"past both", 50, 81, false},
        {"51 × 1.6 is 81.6: cut off, not rounded", 51, 81, true},
        {"and not 82", 51, 82, false},
        {"160 % of a hundred", 100, 160, true},
        {"one more", 100, 161, false},
        {"a runaway answer", 100, 100'000, false},
    };
    for (const char* character : {"a", "é", "👩‍👩‍👧", "한"})
        for (const auto& c : cases)
            EXPECT_EQ(CleanupPolicy::accepts(
                          repeated(character, c.source), repeated(character, c.cleaned)),
                c.isAccepted)
                << c.why << " of " << character;
    EXPECT_FALSE(CleanupPolicy::accepts(repeated("a", 50) + repeated(" \n", 200), // white space
        repeated("a", 81)))
        << "blanks around the source let more through";
    EXPECT_TRUE(CleanupPolicy::accepts("a", repeated("\n", 60) + repeated("a", 80) + "\t  "));
}

TEST(MacCleanupPolicy, codeIsLeftAsItWasHeard) {
    using enum MacCleanupPolicy::Path;
    using enum DictationMode;
    for (const auto mode : allDictationModes) {
        EXPECT_EQ(MacCleanupPolicy::path(false, mode), rules) << rawValue(mode);
        EXPECT_EQ(MacCleanupPolicy::path(true, mode), mode == coding ? raw : model)
            << rawValue(mode);
    }
}

} // namespace nimbe
