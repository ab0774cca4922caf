#include <gtest/gtest.h>

#include "NimbeEngine/Text/SpokenCommands.h"

namespace nimbe {

TEST(SpokenCommands, becomeWhatTheyName) {
    struct Case {
        std::string_view spoken;
        std::string_view finished;
    };
    const Case cases[] = {
        // Parentheses
        {"the meeting parentheses the big one close parentheses is today",
            "the meeting (the big one) is today"},
        {"parentheses a close parentheses and parenthesis b end parenthesis", "(a) and (b)"},
        {"x open parenthesis, y, close parenthesis.", "x (y)."},
        {"x OPEN Parentheses. why not? End PARENTHESIS z", "x (why not?) z"},
        {"reopen parenthesis a end parenthesis", "reopen (a)"},
        {"open parenthesis a", "open parenthesis a"},
        {"a close parenthesis", "a close parenthesis"},
        {"parenthesis a\nb close parenthesis", "parenthesis a\nb close parenthesis"},
        {"parenthesis\na\nclose parenthesis", "(a)"},
        {"parenthesis close parenthesis", "parenthesis close parenthesis"},
        {"parenthesisx a close parenthesis", "parenthesisx a close parenthesis"},
        // Lines and paragraphs
        {"first point new line second point", "first point\nsecond point"},
        {"call me, new paragraph. Tomorrow", "call me\n\nTomorrow"},
        {"a , New Line: b", "a \nb"},
        {"one new line new line two", "one\n\ntwo"},
        {"start a new line here", "start a new line here"},
        {"The new paragraph, each new line and Another new line",
            "The new paragraph, each new line and Another new line"},
        {"a  new line b", "a\nb"}, // only one space is looked back over
        {"extra new line", "extra"},
        {"umbrella a, new line b", "umbrella a\nb"},
        {"brand-new line b", "brand-\nb"},
        {"renew line", "renew line"},
        {"new lines and new paragraphs", "new lines and new paragraphs"},
        {"new\nline", ""},
        // Spacing
        {"( a )", "(a)"},
        {"(\na\n)", "(a)"},
        {"a \t b", "a b"},
        {"hello , world !", "hello, world!"},
        {"a\n.b", "a\n.b"},
        {" \n a \u00A0", "a"},
    };
    for (const auto& c : cases) EXPECT_EQ(formatSpokenCommands(c.spoken), c.finished) << c.spoken;
}

} // namespace nimbe
