#include <gtest/gtest.h>

#include "Fakes/FakeLogSink.h"
#include "Fakes/MemoryUserDefaults.h"
#include "NimbeApp/CrashSentinelController.h"
#include "NimbeApp/LaunchOptions.h"

namespace nimbe {

TEST(LaunchOptions, wholeArgumentsAreTakenWhereverTheyStand) {
    using Words = std::vector<std::string>;
    struct Case {
        const char* why;
        Words words;
        LaunchOptions expected;
        Words left;
    };
    const Case cases[] = {
        {"none", {"list", "--json"}, {}, {"list", "--json"}},
        {"in the middle, twice", {"a", "--hidden", "b", "--hidden"}, {.hidden = true}, {"a", "b"}},
        {"all of them", {"-forceLocalOnly", "--mcp-stdio", "-resetOnboarding", "--hidden"},
            {true, true, true, true}, {}},
        {"only whole ones",
            {"--hidden=1", "--hid", "-hidden", "--forceLocalOnly", "-FORCELOCALONLY"}, {},
            {"--hidden=1", "--hid", "-hidden", "--forceLocalOnly", "-FORCELOCALONLY"}},
    };
    for (auto c : cases) {
        EXPECT_EQ(LaunchOptions::take(c.words), c.expected) << c.why;
        EXPECT_EQ(c.words, c.left) << c.why;
    }
    FakeLogSink log;
    LaunchOptions{true, false, true, true}.report(log);
    EXPECT_EQ(log.all(), "");
    LaunchOptions{.forceLocalOnly = true}.report(log);
    EXPECT_EQ(
        log.all(), "forceLocalOnly: launch argument present, binding local-only this launch\n");
}

TEST(LaunchOptions, goingLocalOnceHoldsForOneLaunch) {
    constexpr auto key = "forceLocalOnlyOnce";
    MemoryUserDefaults defaults;
    defaults.isReadOnly = true; // nothing is written when nothing was asked for
    EXPECT_FALSE(takeForceLocalOnlyOnce(defaults));
    defaults.isReadOnly = false;
    EXPECT_TRUE(defaults.setValue(key, true));
    EXPECT_TRUE(takeForceLocalOnlyOnce(defaults));
    EXPECT_TRUE(defaults.keys().empty());
    EXPECT_FALSE(takeForceLocalOnlyOnce(defaults));

    EXPECT_TRUE(defaults.setValue(key, std::string("yes")));
    EXPECT_FALSE(takeForceLocalOnlyOnce(defaults)) << "another type";
    EXPECT_TRUE(defaults.setValue(key, true));
    for (auto fault : {&MemoryUserDefaults::refusesWrites, &MemoryUserDefaults::isReadOnly}) {
        defaults.*fault = true;
        EXPECT_TRUE(takeForceLocalOnlyOnce(defaults)) << "it cannot be cleared, and is obeyed";
        defaults.*fault = false;
    }
    EXPECT_TRUE(takeForceLocalOnlyOnce(defaults)) << "and is there still";
    EXPECT_TRUE(defaults.keys().empty());
}

} // namespace nimbe
