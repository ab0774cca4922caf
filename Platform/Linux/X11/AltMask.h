#pragma once

#include <optional>
#include <xcb/xcb.h>

#include "Foundation/Log.h"
#include "PlatformX11/XcbKeymap.h"

namespace nimbe {

/// Keeps programs from opening their menu bar when Alt is pressed and let go alone, which
/// takes the keyboard away from the text: taps, while Alt is down, a key that gives
/// nothing. For the programs Alt then was part of a chord. Used by one thread.
class AltMask {
public:
    AltMask(xcb_connection_t* xcb, LogSink& sink);

    /// Chooses a key; without one, and without the XTEST extension, tap() does nothing.
    void choose(const XcbKeymap& keymap);

    void tap();

    /// Whether a key press is, or may still be, a tap.
    [[nodiscard]] bool isTap(xcb_keycode_t code) const { return code == key || code == formerKey; }

private:
    xcb_connection_t* xcb;
    Log log;
    bool canSend;
    bool hasWarned = false;
    std::optional<xcb_keycode_t> key;
    std::optional<xcb_keycode_t> formerKey; // its taps may be on the way
};

} // namespace nimbe
