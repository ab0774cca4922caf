#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "PlatformX11/XcbKeymap.h"
#include "PlatformX11/XcbLoop.h"
#include "PlatformX11/XcbXkb.h"

namespace nimbe {

/// What one connection is told of the keyboard, and its keymap, read again after it has
/// changed. Used by one thread at a time.
class XcbKeyboardEvents {
public:
    /// Announces the XKB extension and asks to be told of changes of the keymap and the
    /// controls. Absent: the server has no XKB.
    [[nodiscard]] static std::optional<XcbKeyboardEvents> select(xcb_connection_t* xcb);

    /// Which changes of the state (XCB_XKB_STATE_PART) come as events besides.
    void selectState(std::uint16_t parts);

    /// Takes note of changes of the keymap and the controls. The event, when it is one of
    /// the state.
    [[nodiscard]] const xcb_xkb_state_notify_event_t* take(const xcb_generic_event_t& event);

    /// Null when the server gives none.
    [[nodiscard]] const std::shared_ptr<const XcbKeymap>& keymap();
    /// The keymap is another one than keymap() returned last.
    [[nodiscard]] bool isKeymapOld() const { return isOld; }
    /// Modifiers stay down by themselves until the next key.
    [[nodiscard]] bool hasStickyKeys() const { return stickyKeys; }

    /// How things stand now. Asks the server; null when it has gone.
    [[nodiscard]] XcbPointer<xcb_xkb_get_state_reply_t> state() const;

private:
    explicit XcbKeyboardEvents(xcb_connection_t* xcb, std::uint8_t firstEvent)
        : xcb(xcb), firstEvent(firstEvent) {}

    xcb_connection_t* xcb;
    std::uint8_t firstEvent;
    bool isOld = true;
    bool stickyKeys = false;
    std::shared_ptr<const XcbKeymap> known;
};

} // namespace nimbe
