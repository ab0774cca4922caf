#include "KeyboardShortcuts/ShortcutPolicy.h"

#include <algorithm>
#include <array>
#include <charconv>

namespace nimbe {
namespace {

// Names of keysyms from xkbcommon-keysyms.h, without XKB_KEY_.
constexpr std::array<std::string_view, 17> modifierKeys{"Alt_L", "Alt_R", "Caps_Lock", "Control_L",
    "Control_R", "Hyper_L", "Hyper_R", "Meta_L", "Meta_R", "Mode_switch", "Num_Lock", "Shift_L",
    "Shift_Lock", "Shift_R", "Super_L", "Super_R", "script_switch"};
constexpr std::array<std::string_view, 11> lonelyKeys{"Break", "Cancel", "Execute", "Find", "Help",
    "Menu", "Pause", "Print", "Scroll_Lock", "Select", "Sys_Req"};

/// Beside the keys that switch levels, groups and latches two with this beginning type.
bool isModifierKey(std::string_view key) {
    if (key.starts_with("ISO_")) return key != "ISO_Left_Tab" && key != "ISO_Enter";
    return std::find(modifierKeys.begin(), modifierKeys.end(), key) != modifierKeys.end();
}

/// F1 to F35.
bool isFunctionKey(std::string_view key) {
    if (key.size() < 2 || key[0] != 'F' || key[1] == '0') return false;
    int number = 0;
    const auto* const last = key.data() + key.size();
    const auto [end, error] = std::from_chars(key.data() + 1, last, number);
    return error == std::errc() && end == last && number >= 1 && number <= 35;
}

/// Control and one letter, as nearly every program understands it.
bool isEditing(const Shortcut& shortcut) {
    constexpr std::string_view letters = "acsvxz";
    return shortcut.control && !shortcut.option && !shortcut.shift && !shortcut.command &&
           shortcut.key.size() == 1 && letters.find(shortcut.key) != letters.npos;
}

bool mayStandAlone(std::string_view key) {
    return isFunctionKey(key) || key.starts_with("XF86") ||
           std::find(lonelyKeys.begin(), lonelyKeys.end(), key) != lonelyKeys.end();
}

} // namespace

ShortcutPolicy::Decision ShortcutPolicy::decide(const Shortcut& shortcut) {
    if (isModifierKey(shortcut.key)) return Decision::modifierOnly;
    if (isEditing(shortcut)) return Decision::editing;
    if (shortcut.control || shortcut.option || shortcut.command) return Decision::allowed;
    return mayStandAlone(shortcut.key) ? Decision::allowed : Decision::needsModifier;
}

} // namespace nimbe
