#include <gtest/gtest.h>

#include "NimbeSync/HistoryFeed.h"

namespace nimbe {
namespace {

std::vector<std::string> textsOf(const HistoryFeed& feed) {
    std::vector<std::string> texts;
    for (const auto& entry : feed.entries()) texts.push_back(entry.text);
    return texts;
}

} // namespace

TEST(HistoryFeed, isOneListOfBothSides) {
    const UUID shared = UUID::random();
    const UUID polished = UUID::random();
    const HistoryFeed feed(
        {{shared, "here", Date{20}}, {polished, "polished", Date{18}},
            {UUID::random(), "tie, here", Date{10}}, {shared, "twice", Date{15}}},
        {{shared, "there", Date{99}}, {polished, "polished", Date{18}, "notes", "uh, polished"},
            {UUID::random(), "tie, there", Date{10}},
            {UUID::random(), "newest", Date{30}, "email", "before"},
            {UUID::random(), "newer mode", Date{5}, "haiku"}});

    EXPECT_EQ(textsOf(feed), (std::vector<std::string>{"newest", "here", "polished", "tie, here",
                                 "tie, there", "newer mode"}));
    EXPECT_EQ(feed.entries().front().mode, DictationMode::email);
    EXPECT_EQ(feed.entries().front().originalText, "before");
    EXPECT_EQ(feed.entries()[2].originalText, "uh, polished");
    EXPECT_EQ(feed.entries().back().mode, DictationMode::messaging);
}

} // namespace nimbe
