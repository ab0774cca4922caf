#include <atomic>
#include <thread>

#include <gtest/gtest.h>

#include "Foundation/Regex.h"

namespace nimbe {
namespace {

std::u16string replaced(std::u16string text, const Regex& regex, std::u16string_view with) {
    EXPECT_TRUE(replaceAll(text, regex, Replacement(with)));
    return text;
}

} // namespace

TEST(Regex, templatesNameGroupsAndEscapeDollars) {
    EXPECT_EQ(replaced(u"a1b22", Regex(u"([a-z])(\\d+)"), u"$2$1,"), u"1a,22b,");
    EXPECT_EQ(replaced(u"5", Regex(u"(\\d)"), u"\\$$1"), u"$5");
    EXPECT_EQ(replaced(u"xax", Regex(u"a|(b)"), u"[$1]"), u"x[]x"); // took no part
    EXPECT_EQ(replaced(u"bb", Regex(u"a*"), u"-"), u"-b-b-");       // matches of nothing
    EXPECT_EQ(replaced(u"aa", Regex(u"a"), u""), u"");
}

TEST(Regex, aRunSeesWhatIsBeforeItsStart) {
    const Regex regex(u"(?<=a)b\\b");
    const std::u16string_view text = u"ab bb";
    Regex::Run run(regex, text);
    EXPECT_EQ(run.matchAt(1), Regex::Run::Outcome::match);
    EXPECT_EQ(run.matchAt(0), Regex::Run::Outcome::noMatch);
    EXPECT_EQ(run.matchAt(4), Regex::Run::Outcome::noMatch);
}

TEST(Regex, pastItsLimitsATextStaysAsItIs) {
    const std::u16string many(1'000'000, u'a');
    struct Case {
        const char* why;
        Regex regex;
    };
    const Case cases[] = {
        {"quadratic in steps", Regex(u"a+b")},
        {"exponential in steps", Regex(u"(a|aa)+b")},
        {"deep in the stack", Regex(u"(?:a|xx)*$")},
        {"does not compile", Regex(u"(a")},
    };
    for (const auto& c : cases) {
        std::u16string text = many;
        EXPECT_FALSE(replaceAll(text, c.regex, Replacement(u"x"))) << c.why;
        EXPECT_EQ(text, many) << c.why;
        EXPECT_FALSE(c.regex.firstMatch(many)) << c.why;
    }
    EXPECT_FALSE(cases[3].regex.compiles());
}

TEST(Regex, theStepsOfOneRunAddUp) {
    // Each attempt alone is far below the limit; two hundred are not.
    const Regex regex(u"a+b");
    const std::u16string text(50'000, u'a');
    Regex::Run run(regex, text);
    auto outcome = Regex::Run::Outcome::noMatch;
    int attempts = 0;
    for (; outcome == Regex::Run::Outcome::noMatch && attempts < 1000; ++attempts)
        outcome = run.matchAt(0);
    EXPECT_EQ(outcome, Regex::Run::Outcome::pastLimits);
    EXPECT_GT(attempts, 100);
    EXPECT_LT(attempts, 300);
    EXPECT_EQ(run.matchAt(49'999), Regex::Run::Outcome::pastLimits) << "it stays over";
}

TEST(Regex, threadsShareAPatternFromItsFirstUse) {
    const Regex regex(u"b+", Regex::Case::insensitive);
    std::atomic<int> matches = 0;
    std::vector<std::jthread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            for (int round = 0; round < 200; ++round)
                if (regex.firstMatch(u"aBBa")) ++matches;
        });
    }
    threads.clear();
    EXPECT_EQ(matches, 800);
}

} // namespace nimbe
