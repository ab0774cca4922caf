#include <gtest/gtest.h>

#include "KeyboardShortcuts/ShortcutPolicy.h"

namespace nimbe {

TEST(ShortcutPolicy, aChordTakesNoKeyAwayFromTyping) {
    using enum ShortcutPolicy::Decision;
    struct Case {
        const char* chord;
        ShortcutPolicy::Decision expected;
    };
    const Case cases[] = {
        {"d", needsModifier},
        {"Shift+d", needsModifier},
        {"Ctrl+d", allowed},
        {"Ctrl+c", editing},
        {"Ctrl+v", editing},
        {"Ctrl+Shift+c", allowed},
        {"Ctrl+Alt+v", allowed},
        {"Super+c", allowed},
        {"Alt+d", allowed},
        {"Super+d", allowed},
        {"Ctrl+Shift+space", allowed},
        {"Escape", needsModifier},
        {"Shift+Escape", needsModifier},
        {"Tab", needsModifier},
        {"ISO_Left_Tab", needsModifier},
        {"Return", needsModifier},
        {"KP_Enter", needsModifier},
        {"BackSpace", needsModifier},
        {"Delete", needsModifier},
        {"Left", needsModifier},
        {"dead_acute", needsModifier},
        {"Multi_key", needsModifier},
        {"Ctrl+Escape", allowed},
        {"F1", allowed},
        {"F35", allowed},
        {"Shift+F5", allowed},
        {"F", needsModifier},
        {"F0", needsModifier},
        {"F01", needsModifier},
        {"F36", needsModifier},
        {"F1a", needsModifier},
        {"F99999999999", needsModifier},
        {"Pause", allowed},
        {"Print", allowed},
        {"Menu", allowed},
        {"Scroll_Lock", allowed},
        {"XF86AudioMicMute", allowed},
        {"Control_L", modifierOnly},
        {"Ctrl+Alt_R", modifierOnly},
        {"Ctrl+Alt+Super_L", modifierOnly},
        {"Alt+ISO_Level3_Shift", modifierOnly},
        {"Ctrl+ISO_Enter", allowed},
        {"Caps_Lock", modifierOnly},
        {"Num_Lock", modifierOnly},
    };
    for (const auto& c : cases) {
        const auto shortcut = Shortcut::parse(c.chord);
        ASSERT_TRUE(shortcut) << c.chord;
        EXPECT_EQ(ShortcutPolicy::decide(*shortcut), c.expected) << c.chord;
    }
}

} // namespace nimbe
