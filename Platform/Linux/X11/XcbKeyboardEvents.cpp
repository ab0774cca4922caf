#include "PlatformX11/XcbKeyboardEvents.h"

#include <xkbcommon/xkbcommon-x11.h>

namespace nimbe {
namespace {

constexpr std::uint16_t keyboard = XCB_XKB_ID_USE_CORE_KBD;

/// Every event of the extension begins so; its kind is in the second byte.
/// https://www.x.org/releases/current/doc/kbproto/xkbproto.html, "Events"
template <typename T>
const T& as(const xcb_generic_event_t& event) {
    return reinterpret_cast<const T&>(event);
}

} // namespace

std::optional<XcbKeyboardEvents> XcbKeyboardEvents::select(xcb_connection_t* xcb) {
    std::uint8_t firstEvent = 0;
    if (xkb_x11_setup_xkb_extension(xcb, XKB_X11_MIN_MAJOR_XKB_VERSION,
            XKB_X11_MIN_MINOR_XKB_VERSION, XKB_X11_SETUP_XKB_EXTENSION_NO_FLAGS, nullptr, nullptr,
            &firstEvent, nullptr) != 1)
        return std::nullopt;
    constexpr std::uint16_t events = XCB_XKB_EVENT_TYPE_NEW_KEYBOARD_NOTIFY |
                                     XCB_XKB_EVENT_TYPE_MAP_NOTIFY |
                                     XCB_XKB_EVENT_TYPE_CONTROLS_NOTIFY;
    constexpr std::uint16_t mapParts =
        XCB_XKB_MAP_PART_KEY_TYPES | XCB_XKB_MAP_PART_KEY_SYMS | XCB_XKB_MAP_PART_MODIFIER_MAP |
        XCB_XKB_MAP_PART_EXPLICIT_COMPONENTS | XCB_XKB_MAP_PART_KEY_ACTIONS |
        XCB_XKB_MAP_PART_VIRTUAL_MODS | XCB_XKB_MAP_PART_VIRTUAL_MOD_MAP;
    xcb_xkb_select_events_details_t details{};
    details.affectNewKeyboard = details.newKeyboardDetails =
        XCB_XKB_NKN_DETAIL_KEYCODES | XCB_XKB_NKN_DETAIL_DEVICE_ID;
    details.affectCtrls = details.ctrlDetails = XCB_XKB_CONTROL_CONTROLS_ENABLED;
    xcb_xkb_select_events_aux(xcb, keyboard, events, 0, 0, mapParts, mapParts, &details);
    XcbKeyboardEvents result(xcb, firstEvent);
    const XcbPointer<xcb_xkb_get_controls_reply_t> controls{
        xcb_xkb_get_controls_reply(xcb, xcb_xkb_get_controls(xcb, keyboard), nullptr)};
    result.stickyKeys =
        controls && (controls->enabledControls & XCB_XKB_BOOL_CTRL_STICKY_KEYS) != 0;
    return result;
}

void XcbKeyboardEvents::selectState(std::uint16_t parts) {
    constexpr std::uint16_t all = 0x3fff;
    xcb_xkb_select_events_details_t details{};
    details.affectState = all;
    details.stateDetails = parts;
    xcb_xkb_select_events_aux(xcb, keyboard, XCB_XKB_EVENT_TYPE_STATE_NOTIFY, 0, 0, 0, 0, &details);
}

const xcb_xkb_state_notify_event_t* XcbKeyboardEvents::take(const xcb_generic_event_t& event) {
    const auto type = event.response_type & 0x7f;
    if (type == XCB_MAPPING_NOTIFY) {
        isOld |= as<xcb_mapping_notify_event_t>(event).request != XCB_MAPPING_POINTER;
        return nullptr;
    }
    if (type != firstEvent) return nullptr;
    switch (event.pad0) {
    case XCB_XKB_STATE_NOTIFY: return &as<xcb_xkb_state_notify_event_t>(event);
    case XCB_XKB_NEW_KEYBOARD_NOTIFY:
    case XCB_XKB_MAP_NOTIFY: isOld = true; break;
    case XCB_XKB_CONTROLS_NOTIFY:
        stickyKeys = (as<xcb_xkb_controls_notify_event_t>(event).enabledControls &
                         XCB_XKB_BOOL_CTRL_STICKY_KEYS) != 0;
        break;
    default: break;
    }
    return nullptr;
}

const std::shared_ptr<const XcbKeymap>& XcbKeyboardEvents::keymap() {
    if (isOld) {
        isOld = false;
        if (auto read = XcbKeymap::read(xcb)) known = std::move(read);
    }
    return known;
}

XcbPointer<xcb_xkb_get_state_reply_t> XcbKeyboardEvents::state() const {
    return XcbPointer<xcb_xkb_get_state_reply_t>{
        xcb_xkb_get_state_reply(xcb, xcb_xkb_get_state(xcb, keyboard), nullptr)};
}

} // namespace nimbe
