#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "NimbeEngine/Text/Fillers.h"
#include "NimbeEngine/Text/SpokenCommands.h"
#include "Support/PlainIcu.h"

namespace nimbe {
namespace {

/// What the patterns look at, in pieces that join to near misses as well.
const std::vector<std::u16string_view> pieces{u"new", u"New", u"line", u"LINE", u"lines",
    u"paragraph", u"a", u"the", u"another", u"xa", u"parentheses", u"Parenthesis",
    u"parenthe\u017Fi\u017F", u"parenthesisx", u"open", u"reopen", u"close", u"end", u"clo\u017Fe",
    u"um", u"UHHH", u"erm", u"er", u"ah", u"hm", u"human", u"word", u"x", u"9", u"_", u",", u",",
    u".", u":", u";", u"!", u"?", u"(", u")", u" ", u" ", u" ", u"  ", u"\t", u"\n", u"\r\n",
    u"\u00A0", u"\u2028", u"\u0085", u"\u3000", u"\u0301", u"\u200D", u"\u00AD", u"é", u"ß",
    u"\u212A", u"😀", u"\xD800", u"\0x"};

std::u16string randomText(std::mt19937& random) {
    std::u16string text;
    const auto count = random() % 24;
    for (std::size_t i = 0; i < count; ++i) {
        text += pieces[random() % pieces.size()];
        if (random() % 2 == 0) text += u' ';
    }
    return text;
}

template <typename Rules>
void compareWithPlainIcu(const Rules& rules, unsigned seed) {
    std::mt19937 random(seed);
    for (int round = 0; round < 8000; ++round) {
        const auto text = randomText(random);
        for (const auto& rule : rules) {
            auto applied = text;
            rule.apply(applied);
            ASSERT_EQ(text::toUtf8(applied), text::toUtf8(plainlyApplied(rule.definition, text)))
                << text::toUtf8(rule.definition.pattern) << "\n on: " << text::toUtf8(text);
        }
    }
}

} // namespace

TEST(TextRule, scansChangeNoResult) {
    compareWithPlainIcu(spokenCommandRules(), 1);
    compareWithPlainIcu(fillerRules(), 2);
}

TEST(TextRule, theWholePathIsThatOfThePatterns) {
    std::mt19937 random(3);
    for (int round = 0; round < 2000; ++round) {
        const auto text = text::toUtf8(randomText(random));
        for (const bool preserveCase : {true, false}) {
            auto steps = stripFillers(formatSpokenCommands(text), preserveCase);
            ASSERT_EQ(steps, plainlyFinished(text, preserveCase)) << text;
        }
    }
}

} // namespace nimbe
