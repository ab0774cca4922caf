#include "PlatformX11/XcbRequestors.h"

namespace nimbe {

xcb_window_t XcbRequestors::take() {
    if (!idle.empty()) {
        const auto window = idle.back();
        idle.pop_back();
        return window;
    }
    auto* xcb = loop.connection();
    const auto window = xcb_generate_id(xcb);
    const std::uint32_t events = XCB_EVENT_MASK_PROPERTY_CHANGE;
    xcb_create_window(xcb, 0, window, loop.root(), -1, -1, 1, 1, 0, XCB_WINDOW_CLASS_INPUT_ONLY,
        XCB_COPY_FROM_PARENT, XCB_CW_EVENT_MASK, &events);
    return window;
}

void XcbRequestors::retire(xcb_window_t window) {
    loop.schedule(patience, [xcb = loop.connection(), window] { xcb_destroy_window(xcb, window); });
}

} // namespace nimbe
