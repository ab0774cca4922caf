#include <gtest/gtest.h>

#include "NimbeApp/PasteRules.h"

namespace nimbe {

TEST(PasteRules, theUsersOwnComeBeforeOurs) {
    using enum PasteChord;
    struct Case {
        const char* why;
        const char* windowClass;
        std::vector<std::string> own;
        PasteRules::Rule expected;
    };
    const Case cases[] = {
        {"an editor", "Mousepad", {}, {standard, false}},
        {"no class", "", {}, {standard, false}},
        {"a terminal on VTE", "Xfce4-terminal", {}, {terminal, true}},
        {"in other case", "xfce4-TERMINAL", {}, {terminal, true}},
        {"only the whole class", "Xfce4-terminal-settings", {}, {standard, false}},
        {"and not a part of it", "Xfce4", {}, {standard, false}},
        {"one that pastes the selection", "XTerm", {}, {insert, true}},
        {"and its brother", "URxvt", {}, {insert, true}},
        {"own, without a chord", "Acme", {"acme"}, {terminal, true}},
        {"own, with one", "Emacs", {"Emacs=insert"}, {insert, true}},
        {"own before ours", "XTerm", {"xterm=Terminal"}, {terminal, true}},
        {"ours taken back", "kitty", {"kitty=standard"}, {standard, false}},
        {"the first of two", "A", {"A=insert", "A=standard"}, {insert, true}},
        {"blanks around", "A b", {"\t A b = insert "}, {insert, true}},
        {"a class with a sign of its own", "a=b", {"a=b=insert"}, {insert, true}},
        {"not ASCII", "\xC3\x9C", {"\xC3\xBC=insert", "\xC3\x9C=terminal"}, {terminal, true}},
        {"malformed: another chord", "XTerm", {"XTerm=paste", "XTerm=", "XTerm=standard x"},
            {insert, true}},
        {"malformed: no class", "", {"", " ", "=insert", " =terminal"}, {standard, false}},
        {"malformed before sound", "A", {"A=b", "A=insert"}, {insert, true}},
    };
    for (const auto& c : cases)
        EXPECT_EQ(PasteRules::rule(c.windowClass, c.own), c.expected) << c.why;
}

} // namespace nimbe
