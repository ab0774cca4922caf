#include "PlatformX11/XcbKeyPoster.h"

#include <utility>
#include <xcb/xtest.h>
#include <xkbcommon/xkbcommon-keysyms.h>

namespace nimbe {

std::unique_ptr<XcbKeyPoster> XcbKeyPoster::connect(LogSink& sink) {
    auto loop = XcbLoop::connect(sink, "nimbe-paste");
    if (!loop) return nullptr;
    return std::unique_ptr<XcbKeyPoster>(new XcbKeyPoster(std::move(loop), sink));
}

XcbKeyPoster::XcbKeyPoster(std::unique_ptr<XcbLoop> connected, LogSink& sink)
    : log(sink, "x11"), loop(std::move(connected)),
      keyboard(XcbKeyboardEvents::select(loop->connection())),
      canSend(keyboard && xcb_get_extension_data(loop->connection(), &xcb_test_id)->present != 0) {
    if (!canSend) log.error("x11: keys cannot be sent, xkb=%d xtest=0", keyboard ? 1 : 0);
}

/// Takes note of what has become of the keymap. False: the server has gone.
bool XcbKeyPoster::keepUp() const {
    return loop->drain([this](const xcb_generic_event_t& event) {
        if (keyboard) static_cast<void>(keyboard->take(event));
    });
}

bool XcbKeyPoster::isTrusted() const {
    return canSend && keepUp();
}

bool XcbKeyPoster::post(PasteChord chord) {
    if (!canSend) return false;
    auto* xcb = loop->connection();
    // The display's keymap is that of the device that typed last. XTEST's may have another
    // one than the user's, so it types now: lets go of a key that is on no keyboard and was
    // not down, which nobody is told.
    fake(XCB_KEY_RELEASE, xcb_get_setup(xcb)->min_keycode);
    const auto downAsked = xcb_query_keymap(xcb);
    const auto state = keyboard->state();
    const XcbPointer<xcb_query_keymap_reply_t> down{
        xcb_query_keymap_reply(xcb, downAsked, nullptr)};
    if (!keepUp() || !state || !down) return false;
    const auto keymap = keyboard->keymap();
    if (!keymap) return false;
    const auto found = stroke(chord, *keymap, state->group);
    if (!found) {
        log.error("x11: the keyboard has no keys to paste with");
        return false;
    }
    lift(*down);
    if (found->key.group != state->group) lockGroup(found->key.group);
    type(*found);
    if (found->key.group != state->group) lockGroup(state->lockedGroup);
    // With its reply the server has done all of it.
    const XcbPointer<xcb_get_input_focus_reply_t> done{
        xcb_get_input_focus_reply(xcb, xcb_get_input_focus(xcb), nullptr)};
    return done != nullptr;
}

/// Where no group has a v, programs would see Control with a letter that means nothing to
/// them; Insert is in all.
std::optional<XcbKeyPoster::Stroke> XcbKeyPoster::stroke(
    PasteChord chord, const XcbKeymap& keymap, std::uint8_t group) {
    const auto v = chord == PasteChord::insert ? std::nullopt : keymap.key(XKB_KEY_v, group);
    const auto control = keymap.key(XKB_KEY_Control_L, group);
    const auto shift = keymap.key(XKB_KEY_Shift_L, group);
    if (v && control && chord == PasteChord::standard) return Stroke{{control->code}, *v};
    if (v && control && shift) return Stroke{{control->code, shift->code}, *v};
    const auto insert = keymap.key(XKB_KEY_Insert, group);
    if (insert && shift) return Stroke{{shift->code}, *insert};
    return std::nullopt;
}

/// Modifiers would join the chord; a key that is down cannot go down; and as long as the
/// key of a grabbed chord is down, all keys go to whoever has grabbed it: this program's own
/// shortcut, as when a dictation ends with its press, or the desktop's.
void XcbKeyPoster::lift(const xcb_query_keymap_reply_t& down) {
    for (unsigned code = 0; code < 256; ++code)
        if ((down.keys[code / 8] & (1U << (code % 8))) != 0)
            fake(XCB_KEY_RELEASE, static_cast<xcb_keycode_t>(code));
}

void XcbKeyPoster::type(const Stroke& stroke) {
    for (const auto modifier : stroke.modifiers) fake(XCB_KEY_PRESS, modifier);
    fake(XCB_KEY_PRESS, stroke.key.code);
    fake(XCB_KEY_RELEASE, stroke.key.code);
    for (auto modifier = stroke.modifiers.rbegin(); modifier != stroke.modifiers.rend(); ++modifier)
        fake(XCB_KEY_RELEASE, *modifier);
}

void XcbKeyPoster::fake(std::uint8_t action, xcb_keycode_t key) {
    xcb_test_fake_input(loop->connection(), action, key, XCB_CURRENT_TIME, XCB_NONE, 0, 0, 0);
}

/// Each key event says in which group it was: the program in front understands it whenever
/// it gets to it.
void XcbKeyPoster::lockGroup(std::uint8_t group) {
    xcb_xkb_latch_lock_state(loop->connection(), XCB_XKB_ID_USE_CORE_KBD, 0, 0, 1, group, 0, 0, 0);
}

} // namespace nimbe
