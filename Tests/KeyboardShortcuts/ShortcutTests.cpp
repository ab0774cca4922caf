#include <gtest/gtest.h>

#include "KeyboardShortcuts/Shortcut.h"

namespace nimbe {

TEST(Shortcut, whatIsStoredComesBack) {
    struct Case {
        Shortcut shortcut;
        const char* text;
        const char* display;
    };
    const Case cases[] = {
        {{true, true, true, true, "d"}, "Ctrl+Alt+Shift+Super+d", "Ctrl + Alt + Shift + Super + D"},
        {{false, false, false, false, "F9"}, "F9", "F9"},
        {{true, false, false, false, "plus"}, "Ctrl+plus", "Ctrl + +"},
        {{false, true, false, false, "space"}, "Alt+space", "Alt + Space"},
        {{false, false, true, true, "adiaeresis"}, "Shift+Super+adiaeresis", "Shift + Super + Ä"},
        {{false, true, false, false, "7"}, "Alt+7", "Alt + 7"},
        {{false, true, false, false, "U262D"}, "Alt+U262D", "Alt + U262D"},
        {{false, false, false, false, "XF86AudioMicMute"}, "XF86AudioMicMute", "XF86AudioMicMute"},
        {{false, false, false, false, "Super_L"}, "Super_L", "Super_L"},
        {{true, false, false, false, "Alt"}, "Ctrl+Alt", "Ctrl + Alt"}, // a key of that name
    };
    for (const auto& c : cases) {
        EXPECT_EQ(c.shortcut.text(), c.text);
        EXPECT_EQ(Shortcut::parse(c.text), c.shortcut) << c.text;
        EXPECT_EQ(c.shortcut.displayName(), c.display);
    }
}

TEST(Shortcut, whatTextDoesNotGiveIsRefused) {
    const std::string texts[] = {"", "+", "Ctrl+", "+d", "Ctrl++", "Ctrl++d", "Ctrl+Ctrl+d",
        "Alt+Ctrl+d", "Super+Shift+d", "ctrl+d", "CTRL+d", "Control+d", "Ctrl + d", " Ctrl+d",
        "Ctrl+d ", "Ctrl+d\n", "Ctrl+Alt+d+", "Ctrl-d", "Ctrl+ä", "Ctrl+\xFF", "Ctrl+d;rm",
        std::string("Ctrl+d\0x", 8), std::string("Ctrl+\0", 6), "Ctrl+" + std::string(65, 'x')};
    for (const auto& text : texts) EXPECT_FALSE(Shortcut::parse(text)) << text;
    EXPECT_TRUE(Shortcut::parse("Ctrl+" + std::string(64, 'x')));
}

} // namespace nimbe
