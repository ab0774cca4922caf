#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <xcb/xcb.h>

namespace nimbe {

/// What the X server itself says, over a connection of its own.
class XServerEyes {
public:
    XServerEyes();
    ~XServerEyes();
    XServerEyes(const XServerEyes&) = delete;
    XServerEyes& operator=(const XServerEyes&) = delete;

    [[nodiscard]] std::uint32_t activeWindow() const; // by the window manager
    [[nodiscard]] std::uint32_t inputFocus() const;
    [[nodiscard]] std::uint32_t processOf(std::uint32_t window) const; // _NET_WM_PID
    /// A press and a release of the left button there.
    void click(int x, int y) const;

private:
    xcb_connection_t* xcb;
    xcb_window_t root = XCB_NONE;

    [[nodiscard]] std::uint32_t property(xcb_window_t window, const std::string& name) const;
};

} // namespace nimbe
