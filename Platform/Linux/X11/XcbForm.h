#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>
#include <xcb/xcb.h>

#include "NimbeApp/Pasteboard.h"
#include "PlatformX11/XcbLoop.h"

namespace nimbe {

/// One form of a pasteboard's contents as the X server carries it.
///
/// A form with an encoding goes out as it came in. Without one it is in UTF-8 if it is
/// text, and its type is its target, as Qt, GTK and xclip expect, but for two targets:
/// - STRING is Latin-1 by convention (ICCCM 2.6.2). Text beyond Latin-1 is not offered so:
///   who asks for nothing else gets an honest refusal, and not wrong letters.
/// - TEXT lets the owner choose: STRING where that is possible, else UTF8_STRING.
struct XcbForm {
    xcb_atom_t target = XCB_ATOM_NONE;
    xcb_atom_t type = XCB_ATOM_NONE;
    std::uint8_t unit = 8; // bits of one element: 8, 16 or 32
    std::shared_ptr<const Bytes> data;
    bool isText = false;

    /// What can be offered of the contents, each target once. Asks the server for atoms.
    [[nodiscard]] static std::vector<XcbForm> all(
        XcbLoop& loop, const std::shared_ptr<const PasteboardContents>& contents);

    /// Whether a target stands for contents. Others are the protocol's own, have effects
    /// (DELETE), or name things in the server that go with the program that made them.
    [[nodiscard]] static bool isContent(const std::string& target);

    /// Into a property; `count` bytes of the data from `from` on.
    void put(xcb_connection_t* xcb, xcb_window_t window, xcb_atom_t property, std::size_t from,
        std::size_t count) const;
};

} // namespace nimbe
