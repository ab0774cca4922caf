#include "PlatformQt/XkbKeyNames.h"

#include <QtGui/QGuiApplication>
#include <array>
#include <memory>
#include <xkbcommon/xkbcommon-x11.h>

namespace nimbe {
namespace {

template <typename T, void (*unref)(T*)>
struct Unref {
    void operator()(T* object) const { unref(object); }
};
template <typename T, void (*unref)(T*)>
using Handle = std::unique_ptr<T, Unref<T, unref>>;

} // namespace

/// Read anew each time: it is asked for a few times in a program's life, and layouts change.
std::optional<std::string> XkbKeyNames::name(std::uint32_t scanCode) {
    auto* x11 = qGuiApp ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
    if (!x11) return std::nullopt;
    auto* xcb = x11->connection();
    const Handle<xkb_context, xkb_context_unref> context(xkb_context_new(XKB_CONTEXT_NO_FLAGS));
    const auto device = xkb_x11_get_core_keyboard_device_id(xcb);
    if (!context || device < 0) return std::nullopt;
    const Handle<xkb_keymap, xkb_keymap_unref> keymap(
        xkb_x11_keymap_new_from_device(context.get(), xcb, device, XKB_KEYMAP_COMPILE_NO_FLAGS));
    if (!keymap) return std::nullopt;
    const Handle<xkb_state, xkb_state_unref> state(
        xkb_x11_state_new_from_device(keymap.get(), xcb, device));
    if (!state) return std::nullopt;
    const auto layout = xkb_state_key_get_layout(state.get(), scanCode);
    if (layout == XKB_LAYOUT_INVALID) return std::nullopt;
    const xkb_keysym_t* symbols = nullptr;
    if (xkb_keymap_key_get_syms_by_level(keymap.get(), scanCode, layout, 0, &symbols) != 1)
        return std::nullopt;
    std::array<char, 64> text{};
    if (xkb_keysym_get_name(symbols[0], text.data(), text.size()) <= 0) return std::nullopt;
    return std::string(text.data());
}

} // namespace nimbe
