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
    constexpr std::size_t times = 200'000;
    const auto raw = repeated("The quick brown fox , uh, jumps over 3 lazy dogs. ", times);
    auto expected = repeated("The quick brown fox, jumps over 3 lazy dogs. ", times);
    expected.pop_back();
    EXPECT_EQ(finishedWithoutCleanup(raw), expected);
}

TEST(DictationText, worstInputsOfOneMegabyteLoseNothing) {
    // Each is the worst for one pattern or more. A step may leave its text as it
    // is; what is no white space, comma or command stays in any case.
    const std::string_view units[] = {" ", "\t", "\n", ",", ", ", " ,\n", "(", "( ", ") ", " )",
        "new ", "new line ", "a new line ", ", new paragraph ", "parenthesis ", "parenthesis a ",
        "parenthesis a\n", "parenthesis close parenthesis ", "open parenthesis a close ", "um",
        "um ", "um, ", "h", "hm", "- ", "-\n", "1) ", "1", ". ", "one, ", "x one, ",
        "x. one, a, and two, ", "between $1.", "\nthanks", "\nthanks\na ", "hi ", "e\u0301",
        "\u0345", "\u2028"};
    for (const auto unit : units) {
        const auto text = repeated(unit, 1'000'000 / unit.size());
        const auto marked = text + " is this not so, xyz";
        for (const auto& result : {finishedWithoutCleanup(marked, false),
                 BulletReflow::reflow(marked), formatSpokenStructure(marked),
                 EmailBodyFormatter::stripGreetingAndSignOff(marked)}) {
            EXPECT_TRUE(result.ends_with("s this not so, xyz")) << unit;
        }
        const auto listed = formatSpokenStructure(text + ". x one, a, and two, b.");
        EXPECT_TRUE(listed.ends_with("b.") || listed.ends_with("2. B.")) << unit;
    }
}

} // namespace nimbe
