#pragma once

#include <functional>

#include "Foundation/Token.h"

namespace nimbe {

/// The modifier keys that are held, whatever the device; Caps Lock: is on.
struct ModifierFlags {
    bool option = false;
    bool command = false;
    bool control = false;
    bool shift = false;
    bool function = false;
    bool capsLock = false;

    friend bool operator==(const ModifierFlags&, const ModifierFlags&) = default;
};

struct KeyEvent {
    enum class Kind {
        flagsChanged, // a modifier went down or up; `flags` is how things stand now
        keyDown       // any other key, not its repetitions
    };
    Kind kind = Kind::flagsChanged;
    ModifierFlags flags{};
};

/// Key events of the whole desktop as they happen. Watches only: no event is
/// swallowed or changed.
///
/// Handlers run on the source's own thread and return at once. An event is
/// reported in one scope only; a source that cannot tell its program's windows
/// from others reports all as otherApplications.
class KeyEventSource {
public:
    enum class Scope { otherApplications, ownWindows };
    enum class Interest { flagsChanged, keyDown, both };
    using Handler = std::function<void(const KeyEvent&)>;

    virtual ~KeyEventSource() = default;

    /// Until the token is dropped. Main thread.
    [[nodiscard]] virtual Token monitor(Scope scope, Interest interest, Handler handler) = 0;
};

} // namespace nimbe
