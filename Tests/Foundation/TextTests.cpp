#include <gtest/gtest.h>

#include "Foundation/Text.h"

namespace nimbe {

TEST(Text, illFormedBytesBecomeReplacementCharacters) {
    struct Case {
        const char* why;
        std::string_view bytes;
        std::size_t replaced;
        std::string_view result;
    };
    const Case cases[] = {
        {"well-formed, four bytes and a NUL", {"a\0\xF0\x9F\x98\x80", 6}, 0,
            {"a\0\xF0\x9F\x98\x80", 6}},
        {"a lone continuation byte", "a\x80z", 1, "a\xEF\xBF\xBDz"},
        {"cut off at the end", "a\xE2\x82", 1, "a\xEF\xBF\xBD"},
        {"an encoded surrogate", "\xED\xA0\x80", 3, "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"},
        {"an overlong slash", "\xC0\xAF", 2, "\xEF\xBF\xBD\xEF\xBF\xBD"},
        {"beyond U+10FFFF", "\xF4\x90\x80\x80", 4,
            "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"},
    };
    for (const auto& c : cases) {
        const auto converted = text::toUtf16(c.bytes);
        EXPECT_EQ(converted.replaced, c.replaced) << c.why;
        EXPECT_EQ(text::toUtf8(converted.text), c.result) << c.why;
        EXPECT_EQ(text::isValidUtf8(c.bytes), c.replaced == 0) << c.why;
        EXPECT_TRUE(text::isValidUtf8(text::toUtf8(converted.text))) << c.why;
    }
    EXPECT_EQ(text::toUtf8(u"a\xD800z"), "a\xEF\xBF\xBDz");
}

TEST(Text, trimsWhatUnicodeCallsWhiteSpace) {
    struct Case {
        std::u16string_view text;
        std::u16string_view trimmed;
        std::u16string_view blanksTrimmed;
    };
    const Case cases[] = {
        {u"\t a b \n", u"a b", u"a b \n"},
        {u"\u00A0\u2003x\u3000\u202F", u"x", u"x"},
        {u"\u2028x\u2029\u0085", u"x", u"\u2028x\u2029\u0085"},
        {u"\u200Bx\uFEFF", u"\u200Bx\uFEFF", u"\u200Bx\uFEFF"}, // zero width is no white space
        {u" \r\n\v\f ", u"", u"\r\n\v\f"},
        {u"", u"", u""},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(text::trimmed(c.text), c.trimmed);
        EXPECT_EQ(text::blanksTrimmed(c.text), c.blanksTrimmed);
        EXPECT_EQ(text::trimmed(text::toUtf8(c.text)), text::toUtf8(c.trimmed));
        std::u16string inPlace(c.text);
        text::trim(inPlace);
        EXPECT_EQ(inPlace, c.trimmed);
    }
}

TEST(Text, capitalizesTheFirstLetterWhole) {
    struct Case {
        const char* why;
        std::u16string_view text;
        std::u16string_view always;
        std::u16string_view ifLowerCase;
    };
    const Case cases[] = {
        {"behind punctuation and digits", u"«3 apples", u"«3 Apples", u"«3 Apples"},
        {"longer in upper case", u"ßa", u"SSa", u"SSa"},
        {"with its combining mark", u"e\u0301a", u"E\u0301a", u"E\u0301a"},
        {"behind a lone combining mark", u"\u0301a", u"\u0301A", u"\u0301A"},
        {"title case is not lower case", u"\u01C5a", u"\u01C4a", u"\u01C5a"},
        {"already upper case", u"Éa", u"Éa", u"Éa"},
        {"no case at all", u"漢a", u"漢a", u"漢a"},
        {"beyond the first plane", u"😀\U00010428", u"😀\U00010400", u"😀\U00010400"},
        {"a letter that joins the digit before it is none", u"1\u0345a", u"1\u0345A", u"1\u0345A"},
        {"no letter", u"1 2 3", u"1 2 3", u"1 2 3"},
        {"nothing", u"", u"", u""},
    };
    for (const auto& c : cases) {
        std::u16string always(c.text);
        text::capitalizeFirstLetter(always);
        EXPECT_EQ(always, c.always) << c.why;
        std::u16string ifLowerCase(c.text);
        text::capitalizeFirstLetterIfLowerCase(ifLowerCase);
        EXPECT_EQ(ifLowerCase, c.ifLowerCase) << c.why;
    }
}

TEST(Text, aLineForTheTerminalKeepsWhatIsRead) {
    struct Case {
        const char* text;
        std::size_t most;
        const char* line;
    };
    const Case cases[] = {
        {" a\n\n b\tc ", 9, "a b c"},
        {"\x1B[31mred\x07", 20, "[31mred "},
        {"abc", 3, "abc"},
        {"abcd", 3, "abc…"},
        {"👩‍👩‍👧‍👦👩‍👩‍👧‍👦!", 1, "👩‍👩‍👧‍👦…"},
        {"می‌خواهم", 20, "می‌خواهم"},
        {"", 5, ""},
    };
    for (const auto& c : cases) EXPECT_EQ(text::onOneLine(c.text, c.most), c.line) << c.text;
    EXPECT_EQ(text::padded("é", 3), "é  ");
    EXPECT_EQ(text::padded("long", 3), "long");
}

} // namespace nimbe
