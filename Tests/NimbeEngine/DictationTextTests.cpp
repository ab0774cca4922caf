#include <string>

#include <gtest/gtest.h>

#include "Foundation/Text.h"
#include "NimbeEngine/Text/BulletReflow.h"
#include "NimbeEngine/Text/DictationText.h"
#include "NimbeEngine/Text/EmailBodyFormatter.h"
#include "NimbeEngine/Text/SpokenStructure.h"

namespace nimbe {
namespace {

std::string repeated(std::string_view text, std::size_t times) {
    std::string result;
    result.reserve(text.size() * times);
    for (std::size_t i = 0; i < times; ++i) result += text;
    return result;
}

} // namespace

TEST(DictationText, oddInputHasADefinedResult) {
    using namespace std::string_view_literals;
    struct Case {
        const char* why;
        std::string_view raw;
        std::string_view finished;
    };
    const Case cases[] = {
        {"nothing", ""sv, ""sv},
        {"white space of all kinds", " \t\r\n\u00A0\u2028\u3000"sv, ""sv},
        {"fillers only", "um, uh hmm."sv, "."sv},
        {"a NUL stays", "a \0 , b"sv, "a \0, b"sv},
        {"ill-formed bytes are marked", "um \xFFx\xE2\x82"sv, "\xEF\xBF\xBDx\xEF\xBF\xBD"sv},
        {"a lone combining mark stays", "\u0301 , a"sv, "\u0301, a"sv},
        {"right to left", "um مرحبا , new line שלום"sv, "مرحبا \nשלום"sv},
        {"CRLF stays", "a \r\nb  c"sv, "a \r\nb c"sv},
        {"the line separator ends no line of ours", "a\u2028 , b"sv, "a\u2028, b"sv},
        {"a byte order mark stays", "\uFEFFum ok"sv, "\uFEFF ok"sv},
    };
    for (const auto& c : cases) EXPECT_EQ(finishedWithoutCleanup(c.raw), c.finished) << c.why;
}

TEST(DictationText, commandsComeBeforeFillers) {
    EXPECT_EQ(finishedWithoutCleanup("um, new line uh, b , c"), "b, c");
    EXPECT_EQ(finishedWithoutCleanup("um new line b", false), "B");
    EXPECT_EQ(finishedWithoutCleanup("new um line"), "new line");
}

TEST(DictationText, tenMegabytesAreFinishedWhole) {
    // Two million places at which some rule has work to do.
    constexpr std::size_t times = 400'000;
    const auto raw = repeated("so um I was, uh, going  to say . ", times);
    auto expected = repeated("so I was, going to say. ", times);
    expected.pop_back();
    EXPECT_TRUE(finishedWithoutCleanup(raw) == expected);
}

TEST(DictationText, hostileTextsOfOneMegabyteLoseNothing) {
    // Each is the worst for one pattern or more; `kept` is what must still be
    // there as often: a step may leave its text as it is, but drops no word.
    struct Case {
        std::string_view unit;
        std::string_view kept;
    };
    std::string manyOpenings = repeated("parenthesis ", 300) + "close parenthesis\xC3\xA9\n";
    const Case cases[] = {{" ", ""}, {"\t", ""}, {"\n", ""}, {",", ""}, {" ,\n", ""}, {"(", "("},
        {"( ", "("}, {" )", ")"}, {"new ", "new"}, {"new line ", ""}, {"a new line ", "a new line"},
        {"word, new paragraph ", "word"}, {"parenthesis ", "parenthesis"},
        {"parenthesis a\n", "parenthesis a"}, {manyOpenings, "close parenthesis\xC3\xA9"},
        {"open parenthesis x close ", "x"}, {"um ", ""}, {"umx ", "umx"}, {"h", "h"}, {"- ", ""},
        {"x. - ", "x."}, {"1) ", "1"}, {"one, ", "one"}, {"x one, ", "x one"},
        {"x. y one, q, and two, ", "q"}, {"between $1.", "between $1."}, {"\nthanks", "thanks"},
        {"\nthanks\nz ", "z"}, {"hi ", "hi"}, {"e\u0301", "e\u0301"}, {"\u0345", "\u0345"},
        {"\u2028x", "x"}};
    const auto count = [](std::string_view text, std::string_view part) {
        std::size_t found = 0;
        for (auto at = text.find(part); at != text.npos; at = text.find(part, at + part.size()))
            ++found;
        return found;
    };
    for (const auto& c : cases) {
        const auto times = 1'000'000 / c.unit.size();
        const auto text = repeated(c.unit, times) + " is this not so, xyz";
        for (const auto& result : {finishedWithoutCleanup(text, false), BulletReflow::reflow(text),
                 formatSpokenStructure(text), EmailBodyFormatter::stripGreetingAndSignOff(text)}) {
            EXPECT_TRUE(result.ends_with("s this not so, xyz")) << c.unit.substr(0, 40);
            if (c.kept.empty()) continue;
            // The first may have become a capital letter.
            EXPECT_GE(count(result, c.kept) + 1, times) << c.unit.substr(0, 40);
        }
    }
}

} // namespace nimbe
