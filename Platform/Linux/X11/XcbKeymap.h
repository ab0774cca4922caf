#pragma once

#include <array>
#include <bitset>
#include <cstdint>
#include <memory>
#include <optional>
#include <xcb/xcb.h>
#include <xkbcommon/xkbcommon.h>

namespace nimbe {

/// The keyboard's keymap as it was when it was read: which keys give what, and which of
/// the eight modifiers stand for what. Immutable; any thread.
class XcbKeymap {
public:
    /// Needs the XKB extension, which the connection has announced that it knows
    /// (XcbKeyboardEvents). Asks the server some ten times. Null: it gave none.
    [[nodiscard]] static std::shared_ptr<const XcbKeymap> read(xcb_connection_t* xcb);

    /// Modifier masks; 0: no key of the keyboard gives it.
    [[nodiscard]] std::uint8_t alt() const { return altMask; }
    [[nodiscard]] std::uint8_t super() const { return superMask; }
    [[nodiscard]] std::uint8_t numLock() const { return numLockMask; }

    /// The modifiers to which a key is bound.
    [[nodiscard]] std::uint8_t modifiers(xcb_keycode_t key) const { return modifierMap[key]; }
    /// Bound to modifiers or not: AltGr sets one without, and others change the group.
    [[nodiscard]] bool isModifier(xcb_keycode_t key) const { return modifierKeys[key]; }

    struct Key {
        xcb_keycode_t code = 0;
        std::uint8_t group = 0;
    };
    /// The key that gives the keysym when it is pressed alone: in that group, or else in
    /// the first that has it.
    [[nodiscard]] std::optional<Key> key(xkb_keysym_t keysym, std::uint8_t preferredGroup) const;

    /// A key that exists for the server only: it gives nothing in any group, and no
    /// modifier. The highest, as others look for one to borrow from the lowest on.
    [[nodiscard]] std::optional<xcb_keycode_t> unusedKey() const;

private:
    struct Unref {
        void operator()(xkb_keymap* keymap) const { xkb_keymap_unref(keymap); }
    };

    XcbKeymap() = default;

    std::unique_ptr<xkb_keymap, Unref> keymap;
    std::array<std::uint8_t, 256> modifierMap{};
    std::bitset<256> modifierKeys;
    std::uint8_t altMask = 0;
    std::uint8_t superMask = 0;
    std::uint8_t numLockMask = 0;

    /// Without modifiers.
    [[nodiscard]] xkb_keysym_t keysym(xcb_keycode_t key, xkb_layout_index_t group) const;
    [[nodiscard]] bool givesNothing(xcb_keycode_t key) const;
    void learnModifiers();
};

} // namespace nimbe
