#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace nimbe {

/// A chord: modifiers, and one key beside them.
struct Shortcut {
    bool control = false;
    bool option = false; // Alt
    bool shift = false;
    bool command = false; // Super
    /// The key by its keysym's name without modifiers, as xkbcommon-keysyms.h has it
    /// after XKB_KEY_: "d", "F9", "space", "adiaeresis".
    std::string key;

    /// "Ctrl+Alt+Shift+Super+d": how it is stored.
    [[nodiscard]] std::string text() const;
    /// Absent for what text() does not give.
    [[nodiscard]] static std::optional<Shortcut> parse(std::string_view text);

    /// For the user: "Ctrl + Alt + D"; keys as they are labelled, where we know it, else by
    /// their names.
    [[nodiscard]] std::string displayName() const;

    friend bool operator==(const Shortcut&, const Shortcut&) = default;
};

} // namespace nimbe
