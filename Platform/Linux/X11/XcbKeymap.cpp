#include "PlatformX11/XcbKeymap.h"

#include <algorithm>
#include <xkbcommon/xkbcommon-keysyms.h>
#include <xkbcommon/xkbcommon-x11.h>

#include "PlatformX11/XcbLoop.h"

namespace nimbe {
namespace {

struct ContextUnref {
    void operator()(xkb_context* context) const { xkb_context_unref(context); }
};

bool isModifierKeysym(xkb_keysym_t keysym) {
    return (keysym >= XKB_KEY_Shift_L && keysym <= XKB_KEY_Hyper_R) ||
           (keysym >= XKB_KEY_ISO_Lock && keysym <= XKB_KEY_ISO_Level5_Lock) ||
           keysym == XKB_KEY_Mode_switch || keysym == XKB_KEY_Num_Lock;
}

} // namespace

std::shared_ptr<const XcbKeymap> XcbKeymap::read(xcb_connection_t* xcb) {
    const auto asked = xcb_get_modifier_mapping(xcb);
    const std::unique_ptr<xkb_context, ContextUnref> context{
        xkb_context_new(XKB_CONTEXT_NO_DEFAULT_INCLUDES)};
    const auto device = context ? xkb_x11_get_core_keyboard_device_id(xcb) : -1;
    std::shared_ptr<XcbKeymap> result(new XcbKeymap);
    if (device >= 0)
        result->keymap.reset(xkb_x11_keymap_new_from_device(
            context.get(), xcb, device, XKB_KEYMAP_COMPILE_NO_FLAGS));
    const XcbPointer<xcb_get_modifier_mapping_reply_t> map{
        xcb_get_modifier_mapping_reply(xcb, asked, nullptr)};
    if (!result->keymap || !map) return nullptr;

    // Eight rows, one for each modifier, of keys that give it; 0 fills them up.
    const auto* keys = xcb_get_modifier_mapping_keycodes(map.get());
    for (unsigned row = 0; row < 8; ++row)
        for (unsigned column = 0; column < map->keycodes_per_modifier; ++column) {
            const auto key = keys[row * map->keycodes_per_modifier + column];
            if (key != 0) result->modifierMap[key] |= static_cast<std::uint8_t>(1U << row);
        }
    result->learnModifiers();
    return result;
}

/// Which modifier Alt, Super and Num Lock are is for each keymap to say.
void XcbKeymap::learnModifiers() {
    const auto masksOf = [this](std::initializer_list<xkb_keysym_t> keysyms) {
        unsigned masks = 0;
        for (unsigned key = 0; key < modifierMap.size(); ++key) {
            const auto code = static_cast<xcb_keycode_t>(key);
            if (modifierMap[code] == 0) continue;
            const auto groups = xkb_keymap_num_layouts_for_key(keymap.get(), code);
            for (xkb_layout_index_t group = 0; group < groups; ++group)
                for (const auto keysym : keysyms)
                    if (this->keysym(code, group) == keysym) masks |= modifierMap[code];
        }
        return static_cast<std::uint8_t>(
            masks & ~unsigned{XCB_MOD_MASK_SHIFT | XCB_MOD_MASK_LOCK | XCB_MOD_MASK_CONTROL});
    };
    for (unsigned key = 0; key < modifierMap.size(); ++key) {
        const auto code = static_cast<xcb_keycode_t>(key);
        modifierKeys[code] = modifierMap[code] != 0;
        const auto groups = xkb_keymap_num_layouts_for_key(keymap.get(), code);
        for (xkb_layout_index_t group = 0; group < groups; ++group)
            if (isModifierKeysym(keysym(code, group))) modifierKeys[code] = true;
    }
    altMask = masksOf({XKB_KEY_Alt_L, XKB_KEY_Alt_R});
    superMask = masksOf({XKB_KEY_Super_L, XKB_KEY_Super_R}) & static_cast<std::uint8_t>(~altMask);
    numLockMask = masksOf({XKB_KEY_Num_Lock});
}

xkb_keysym_t XcbKeymap::keysym(xcb_keycode_t key, xkb_layout_index_t group) const {
    const xkb_keysym_t* keysyms = nullptr;
    const auto count = xkb_keymap_key_get_syms_by_level(keymap.get(), key, group, 0, &keysyms);
    return count == 1 ? keysyms[0] : xkb_keysym_t{XKB_KEY_NoSymbol};
}

std::optional<XcbKeymap::Key> XcbKeymap::key(
    xkb_keysym_t wanted, std::uint8_t preferredGroup) const {
    const auto lowest = xkb_keymap_min_keycode(keymap.get());
    const auto highest = std::min<xkb_keycode_t>(xkb_keymap_max_keycode(keymap.get()), 255);
    const auto groups = xkb_keymap_num_layouts(keymap.get());
    std::optional<Key> found;
    for (xkb_keycode_t key = lowest; key <= highest; ++key) {
        const auto code = static_cast<xcb_keycode_t>(key);
        const auto own = xkb_keymap_num_layouts_for_key(keymap.get(), code);
        if (own == 0) continue;
        // A key with fewer groups than the keyboard begins again at its first.
        if (keysym(code, preferredGroup % own) == wanted) return Key{code, preferredGroup};
        for (xkb_layout_index_t group = 0; group < groups; ++group)
            if (keysym(code, group % own) == wanted && (!found || group < found->group))
                found = Key{code, static_cast<std::uint8_t>(group)};
    }
    return found;
}

bool XcbKeymap::givesNothing(xcb_keycode_t key) const {
    const auto groups = xkb_keymap_num_layouts_for_key(keymap.get(), key);
    for (xkb_layout_index_t group = 0; group < groups; ++group) {
        const auto levels = xkb_keymap_num_levels_for_key(keymap.get(), key, group);
        for (xkb_level_index_t level = 0; level < levels; ++level) {
            const xkb_keysym_t* keysyms = nullptr;
            if (xkb_keymap_key_get_syms_by_level(keymap.get(), key, group, level, &keysyms) > 0)
                return false;
        }
    }
    return true;
}

std::optional<xcb_keycode_t> XcbKeymap::unusedKey() const {
    const auto lowest = xkb_keymap_min_keycode(keymap.get());
    const auto highest = std::min<xkb_keycode_t>(xkb_keymap_max_keycode(keymap.get()), 255);
    for (xkb_keycode_t key = highest; key >= lowest; --key) {
        const auto code = static_cast<xcb_keycode_t>(key);
        if (!isModifier(code) && givesNothing(code)) return code;
    }
    return std::nullopt;
}

} // namespace nimbe
