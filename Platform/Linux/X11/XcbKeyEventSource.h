#pragma once

#include <memory>
#include <optional>

#include "Foundation/Log.h"
#include "NimbeApp/AccessibilityTrust.h"
#include "NimbeApp/KeyEventSource.h"
#include "PlatformX11/AltMask.h"
#include "PlatformX11/XcbKeyboardEvents.h"
#include "PlatformX11/XcbLoop.h"

namespace nimbe {

/// The keys of the display: the state of its modifiers by XKB, key presses by raw events
/// of XInput. Neither takes a key from anybody, and both come whichever window has the
/// keyboard or has grabbed it. Asks for nothing while nobody monitors.
///
/// Cannot tell whose window has the keyboard: all is otherApplications. AltGr, and every
/// modifier without a flag of its own, counts as `function`. Alt does not open menus while
/// somebody monitors flags, see AltMask; not with sticky keys, which a chord would end.
///
/// Trusted where the server has both extensions, for as long as it is there.
class XcbKeyEventSource final : public KeyEventSource, public AccessibilityTrust {
public:
    /// Null when the display cannot be reached.
    [[nodiscard]] static std::unique_ptr<XcbKeyEventSource> connect(LogSink& sink);
    ~XcbKeyEventSource() override;

    /// Takes effect a moment later, and once the token is dropped a call that has begun may
    /// still end.
    [[nodiscard]] Token monitor(Scope scope, Interest interest, Handler handler) override;

    [[nodiscard]] bool isTrusted() const override;

private:
    struct Monitor;
    struct Monitors;

    XcbKeyEventSource(std::unique_ptr<XcbLoop> loop, LogSink& sink);

    Log log;
    std::unique_ptr<XcbLoop> loop;
    std::shared_ptr<Monitors> monitors;
    bool canWatch = false; // the server has all that it takes

    // The loop's thread's own, once it runs.
    std::optional<XcbKeyboardEvents> keyboard; // absent without XKB; then no thread runs
    AltMask mask;
    std::uint8_t rawEvents = 0; // the extension's opcode
    bool watchesFlags = false;
    bool watchesKeys = false;
    std::shared_ptr<const XcbKeymap> keymap;
    bool isRefreshing = false; // soon
    std::uint8_t heldModifiers = 0;
    ModifierFlags flags{}; // as told last

    void take(const xcb_generic_event_t& event);
    void keyPressed(xcb_keycode_t key);
    void modifiersChanged(std::uint8_t held, std::uint8_t locked);
    [[nodiscard]] bool isAltAlone(std::uint8_t held) const;
    [[nodiscard]] ModifierFlags flagsOf(std::uint8_t held, std::uint8_t locked) const;
    void watch();
    void refreshSoon();
    void refreshKeymap();
    void tell(const KeyEvent& event);
};

} // namespace nimbe
