#pragma once

#include <memory>

#include "Foundation/MainActor.h"
#include "KeyboardShortcuts/HotKeys.h"
#include "PlatformX11/XcbLoop.h"

namespace nimbe {

/// Chords grabbed from the X server, with Caps Lock and Num Lock on or off. They follow the
/// layout when it changes: to the key that then gives the keysym; a chord whose key is gone
/// or which is taken by then waits for the next change.
///
/// The server gives a chord to one program only, and so does this to one registration.
class XcbHotKeys final : public HotKeys {
public:
    /// `actor` outlives it. Null when the display cannot be reached.
    [[nodiscard]] static std::unique_ptr<XcbHotKeys> connect(MainActor& actor, LogSink& sink);
    ~XcbHotKeys() override;

    /// Unavailable: the server has no XKB, or has gone.
    [[nodiscard]] Result<Token, HotKeyError> registerHotKey(
        const Shortcut& shortcut, Handlers handlers) override;

private:
    class Grabs;
    class Reader;

    XcbHotKeys(std::unique_ptr<XcbLoop> loop, MainActor& actor, LogSink& sink);

    std::unique_ptr<XcbLoop> loop;
    std::shared_ptr<Grabs> grabs;   // the main thread's
    std::unique_ptr<Reader> reader; // the loop's thread's; absent without XKB
};

} // namespace nimbe
