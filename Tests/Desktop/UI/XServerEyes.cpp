#include "XServerEyes.h"

#include <cstdlib>
#include <memory>
#include <xcb/xtest.h>

namespace nimbe {
namespace {

template <typename T>
std::unique_ptr<T, decltype(&std::free)> freed(T* reply) {
    return {reply, &std::free};
}

} // namespace

XServerEyes::XServerEyes() : xcb(xcb_connect(nullptr, nullptr)) {
    root = xcb_setup_roots_iterator(xcb_get_setup(xcb)).data->root;
}

XServerEyes::~XServerEyes() {
    xcb_disconnect(xcb);
}

std::uint32_t XServerEyes::property(xcb_window_t window, const std::string& name) const {
    const auto atom = freed(xcb_intern_atom_reply(xcb,
        xcb_intern_atom(xcb, 0, static_cast<std::uint16_t>(name.size()), name.c_str()), nullptr));
    const auto reply = freed(xcb_get_property_reply(
        xcb, xcb_get_property(xcb, 0, window, atom->atom, XCB_ATOM_ANY, 0, 1), nullptr));
    if (!reply || xcb_get_property_value_length(reply.get()) < 4) return 0;
    return *static_cast<const std::uint32_t*>(xcb_get_property_value(reply.get()));
}

std::uint32_t XServerEyes::activeWindow() const {
    return property(root, "_NET_ACTIVE_WINDOW");
}

std::uint32_t XServerEyes::inputFocus() const {
    const auto reply = freed(xcb_get_input_focus_reply(xcb, xcb_get_input_focus(xcb), nullptr));
    return reply ? reply->focus : 0;
}

std::uint32_t XServerEyes::processOf(std::uint32_t window) const {
    return window == 0 ? 0 : property(window, "_NET_WM_PID");
}

void XServerEyes::click(int x, int y) const {
    xcb_test_fake_input(xcb, XCB_MOTION_NOTIFY, 0, XCB_CURRENT_TIME, root,
        static_cast<std::int16_t>(x), static_cast<std::int16_t>(y), 0);
    xcb_test_fake_input(xcb, XCB_BUTTON_PRESS, 1, XCB_CURRENT_TIME, root, 0, 0, 0);
    xcb_test_fake_input(xcb, XCB_BUTTON_RELEASE, 1, XCB_CURRENT_TIME, root, 0, 0, 0);
    xcb_flush(xcb);
}

} // namespace nimbe
