#pragma once

#include <vector>
#include <xcb/xcb.h>

#include "PlatformX11/XcbLoop.h"

namespace nimbe {

/// The windows with which this program asks for other programs' contents. A window has one
/// question at a time, so that nothing is mixed up. It never goes while its answer may
/// still come: an owner that writes to a window that is not there may be ended by that,
/// and the user's clipboard with it. On the loop's thread.
class XcbRequestors {
public:
    /// Seconds; what a late owner has to come to its end.
    static constexpr Seconds patience = 10;

    explicit XcbRequestors(XcbLoop& loop) : loop(loop) {}

    [[nodiscard]] xcb_window_t take();
    /// Its answer has come, or none was asked for.
    void giveBack(xcb_window_t window) { idle.push_back(window); }
    /// Its answer was given up.
    void retire(xcb_window_t window);

private:
    XcbLoop& loop;
    std::vector<xcb_window_t> idle;
};

} // namespace nimbe
