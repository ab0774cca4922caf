#pragma once

#include <functional>

#include "Foundation/Result.h"
#include "Foundation/Token.h"
#include "KeyboardShortcuts/Shortcut.h"

namespace nimbe {

enum class HotKeyError {
    taken,      // another program holds the chord
    unknownKey, // no key of this keyboard gives it
    unavailable // the desktop has no such thing
};

/// Chords that reach this program whichever window has the keyboard. Main thread.
class HotKeys {
public:
    /// On the main thread. One `up` follows each `down`, whichever key of the chord is
    /// let go first; holding it repeats neither.
    struct Handlers {
        std::function<void()> down;
        std::function<void()> up;
    };

    virtual ~HotKeys() = default;

    /// Until the token is dropped; a chord that is down then has no `up` any more. The
    /// other programs do not see the chord's key.
    [[nodiscard]] virtual Result<Token, HotKeyError> registerHotKey(
        const Shortcut& shortcut, Handlers handlers) = 0;
};

} // namespace nimbe
