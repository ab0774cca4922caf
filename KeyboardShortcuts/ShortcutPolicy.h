#pragma once

#include "KeyboardShortcuts/Shortcut.h"

namespace nimbe {

/// Which chords may be taken from all programs. Pure.
struct ShortcutPolicy {
    enum class Decision {
        allowed,
        needsModifier, // it would take a key away from typing; Shift alone is typing too
        modifierOnly,  // no key beside the modifiers
        editing        // what all programs copy, paste, save and undo with
    };

    /// Keys that type nothing and move nothing (F1 to F35, Pause, Print, Menu, media keys)
    /// may stand alone. All others need Control, Alt or Super beside them.
    [[nodiscard]] static Decision decide(const Shortcut& shortcut);
};

} // namespace nimbe
