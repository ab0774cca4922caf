#include "PlatformX11/AltMask.h"

#include <xcb/xtest.h>

namespace nimbe {

AltMask::AltMask(xcb_connection_t* xcb, LogSink& sink)
    : xcb(xcb), log(sink, "x11"), canSend(xcb_get_extension_data(xcb, &xcb_test_id)->present != 0) {
    if (!canSend) log.warning("x11: no XTEST: letting go of Alt may open menus");
}

void AltMask::choose(const XcbKeymap& keymap) {
    if (!canSend) return;
    const auto chosen = keymap.unusedKey();
    if (chosen == key && key) return;
    if (key) formerKey = key;
    key = chosen;
    if (!key && !hasWarned) {
        hasWarned = true;
        log.warning("x11: every key gives something: letting go of Alt may open menus");
    }
}

void AltMask::tap() {
    if (!key) return;
    xcb_test_fake_input(xcb, XCB_KEY_PRESS, *key, XCB_CURRENT_TIME, XCB_NONE, 0, 0, 0);
    xcb_test_fake_input(xcb, XCB_KEY_RELEASE, *key, XCB_CURRENT_TIME, XCB_NONE, 0, 0, 0);
    xcb_flush(xcb); // while Alt is still down
}

} // namespace nimbe
