#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "Foundation/Log.h"
#include "NimbeApp/AccessibilityTrust.h"
#include "NimbeApp/KeyPoster.h"
#include "PlatformX11/XcbKeyboardEvents.h"
#include "PlatformX11/XcbLoop.h"

namespace nimbe {

/// Types chords by the XTEST extension, as if on a keyboard. Locks stay as they are.
/// All keys go up before, and stay up until they are pressed again: whether the user still
/// holds them by then nobody tells, and a modifier that stays down for ever is worse.
///
/// Trusted where the server has the extension, for as long as it is there.
class XcbKeyPoster final : public KeyPoster, public AccessibilityTrust {
public:
    /// Null when the display cannot be reached.
    [[nodiscard]] static std::unique_ptr<XcbKeyPoster> connect(LogSink& sink);

    /// Has been typed when it returns: two round trips of some 50 microseconds, and
    /// half a millisecond more after the user has typed: the keymap is that of the keyboard
    /// that typed last.
    [[nodiscard]] bool post(PasteChord chord) override;

    [[nodiscard]] bool isTrusted() const override;

private:
    struct Stroke {
        std::vector<xcb_keycode_t> modifiers;
        XcbKeymap::Key key;
    };

    XcbKeyPoster(std::unique_ptr<XcbLoop> loop, LogSink& sink);

    Log log;
    std::unique_ptr<XcbLoop> loop; // not started
    mutable std::optional<XcbKeyboardEvents> keyboard;
    bool canSend = false;

    [[nodiscard]] bool keepUp() const;
    [[nodiscard]] static std::optional<Stroke> stroke(
        PasteChord chord, const XcbKeymap& keymap, std::uint8_t group);
    void lift(const xcb_query_keymap_reply_t& down);
    void type(const Stroke& stroke);
    void fake(std::uint8_t action, xcb_keycode_t key);
    void lockGroup(std::uint8_t group);
};

} // namespace nimbe
