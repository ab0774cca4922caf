#pragma once

#include <optional>

#include "Foundation/Published.h"

namespace nimbe {

/// What the desktop around the program is like, as it changes. Kept by an adapter, which
/// learns of it in the background: until then, and on a desktop that does not tell, the
/// values are those given here. Main thread.
struct DesktopSurroundings {
    Published<std::optional<bool>> _prefersDark; // the user's choice for all programs
    Published<bool> _reducesMotion;              // the user wants no animations
    Published<bool> _isComposited;               // windows can be translucent
    Published<bool> _hasStatusNotifierHost;      // tray items by D-Bus have a place
    Published<bool> _hasTrayWindow;              // tray items by window have a place

    DesktopSurroundings() = default;
    DesktopSurroundings(const DesktopSurroundings&) = delete;
    DesktopSurroundings& operator=(const DesktopSurroundings&) = delete;
};

} // namespace nimbe
