#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Foundation/Log.h"
#include "NimbeApp/RunningApplication.h"
#include "PlatformX11/XcbLoop.h"

namespace nimbe {

/// Asks the server about windows, over a connection without events, so that an answer
/// costs a round trip or two of some 50 microseconds. One thread.
class XcbWindows {
public:
    /// What programs say of a window; each may be missing. Text is one line of UTF-8, cut
    /// at 1,000 bytes.
    struct Window {
        xcb_window_t id = XCB_NONE;
        std::optional<int> pid; // of a process on this machine
        std::string instance;   // WM_CLASS, first part
        std::string className;  // second part
        std::string title;
        std::optional<RunningApplication::Frame> frame;
    };

    /// Null when the display cannot be reached.
    [[nodiscard]] static std::unique_ptr<XcbWindows> connect(LogSink& sink);

    /// The one that the window manager calls active; without a window manager, the one
    /// that has the keyboard.
    [[nodiscard]] std::optional<xcb_window_t> active();

    /// The active one if the keyboard is in it; else the application's that has the
    /// keyboard. A window manager may call a window active that takes no keys.
    [[nodiscard]] std::optional<xcb_window_t> withKeyboard();

    /// Absent when it is gone, or none of an application: a desktop, a panel, a menu.
    [[nodiscard]] std::optional<Window> look(xcb_window_t window);

    /// Asks the window manager, as the user would by a task bar, or without one the server.
    void activate(xcb_window_t window);

private:
    struct Front {
        bool isManaged = false; // a window manager tells
        xcb_window_t active = XCB_NONE;
        xcb_window_t focus = XCB_NONE;
    };
    struct Atoms {
        xcb_atom_t activeWindow, supportingCheck, pid, name, windowType, typeDesktop, typeDock,
            utf8, state;
    };

    XcbWindows(std::unique_ptr<XcbLoop> connection, LogSink& sink);

    std::unique_ptr<XcbLoop> loop; // not started
    Log log;
    Atoms atoms{};
    std::string host;
    xcb_window_t clock = XCB_NONE; // to ask for the server's time

    [[nodiscard]] std::optional<Front> front();
    [[nodiscard]] std::optional<xcb_window_t> applicationAround(
        xcb_window_t focus, xcb_window_t stop);
    [[nodiscard]] xcb_timestamp_t serverTime();
};

} // namespace nimbe
