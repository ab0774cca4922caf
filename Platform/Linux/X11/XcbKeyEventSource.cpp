#include "PlatformX11/XcbKeyEventSource.h"

#include <mutex>
#include <utility>
#include <vector>
#include <xcb/xinput.h>

namespace nimbe {
namespace {

/// Since 2.1 raw events come also while somebody has grabbed the keyboard.
/// https://www.x.org/releases/current/doc/inputproto/XI2proto.txt, "Changes in version 2.1"
bool hasXInput21(xcb_connection_t* xcb) {
    if (xcb_get_extension_data(xcb, &xcb_input_id)->present == 0) return false;
    const XcbPointer<xcb_input_xi_query_version_reply_t> version{
        xcb_input_xi_query_version_reply(xcb, xcb_input_xi_query_version(xcb, 2, 1), nullptr)};
    return version && (version->major_version > 2 ||
                          (version->major_version == 2 && version->minor_version >= 1));
}

void selectRawKeys(xcb_connection_t* xcb, xcb_window_t root, std::uint32_t events) {
    struct {
        xcb_input_event_mask_t head;
        std::uint32_t mask;
    } const selection{{XCB_INPUT_DEVICE_ALL_MASTER, 1}, events};
    xcb_input_xi_select_events(xcb, root, 1, &selection.head);
}

} // namespace

struct XcbKeyEventSource::Monitors {
    std::mutex mutex;
    XcbKeyEventSource* source = nullptr; // null once it goes
    std::vector<std::weak_ptr<Monitor>> list;

    void changed() {
        const std::lock_guard guard(mutex);
        if (source != nullptr) source->loop->post([source = source] { source->watch(); });
    }
    [[nodiscard]] std::vector<std::shared_ptr<Monitor>> living() {
        const std::lock_guard guard(mutex);
        std::erase_if(list, [](const auto& weak) { return weak.expired(); });
        std::vector<std::shared_ptr<Monitor>> result;
        for (const auto& weak : list)
            if (auto monitor = weak.lock()) result.push_back(std::move(monitor));
        return result;
    }
};

struct XcbKeyEventSource::Monitor {
    Interest interest;
    Handler handler;
    std::weak_ptr<Monitors> monitors;

    Monitor(Interest interest, Handler handler, std::weak_ptr<Monitors> monitors)
        : interest(interest), handler(std::move(handler)), monitors(std::move(monitors)) {}
    Monitor(const Monitor&) = delete;
    Monitor& operator=(const Monitor&) = delete;
    ~Monitor() {
        if (const auto all = monitors.lock()) all->changed();
    }

    [[nodiscard]] bool wants(KeyEvent::Kind kind) const {
        return interest == Interest::both ||
               interest ==
                   (kind == KeyEvent::Kind::keyDown ? Interest::keyDown : Interest::flagsChanged);
    }
};

std::unique_ptr<XcbKeyEventSource> XcbKeyEventSource::connect(LogSink& sink) {
    auto loop = XcbLoop::connect(sink, "nimbe-keys");
    if (!loop) return nullptr;
    return std::unique_ptr<XcbKeyEventSource>(new XcbKeyEventSource(std::move(loop), sink));
}

XcbKeyEventSource::XcbKeyEventSource(std::unique_ptr<XcbLoop> connected, LogSink& sink)
    : log(sink, "x11"), loop(std::move(connected)), monitors(std::make_shared<Monitors>()),
      keyboard(XcbKeyboardEvents::select(loop->connection())), mask(loop->connection(), sink) {
    monitors->source = this;
    if (keyboard) refreshKeymap();
    const bool hasRawKeys = hasXInput21(loop->connection());
    canWatch = hasRawKeys && keymap;
    if (!canWatch) {
        log.error("x11: keys cannot be watched, xkb=%d keymap=%d xinput2.1=%d", keyboard ? 1 : 0,
            keymap ? 1 : 0, hasRawKeys ? 1 : 0);
        return;
    }
    rawEvents = xcb_get_extension_data(loop->connection(), &xcb_input_id)->major_opcode;
    loop->start([this](const xcb_generic_event_t& event) { take(event); });
}

XcbKeyEventSource::~XcbKeyEventSource() {
    {
        const std::lock_guard guard(monitors->mutex);
        monitors->source = nullptr;
    }
    loop->stop();
}

bool XcbKeyEventSource::isTrusted() const {
    return canWatch && loop->isConnected();
}

Token XcbKeyEventSource::monitor(Scope scope, Interest interest, Handler handler) {
    auto monitor = std::make_shared<Monitor>(interest, std::move(handler), monitors);
    if (scope == Scope::ownWindows) return Token(std::move(monitor));
    {
        const std::lock_guard guard(monitors->mutex);
        monitors->list.push_back(monitor);
    }
    monitors->changed();
    return Token(std::move(monitor));
}

/// Asks the server for what somebody wants, and only for that.
void XcbKeyEventSource::watch() {
    bool wantsFlags = false;
    bool wantsKeys = false;
    for (const auto& monitor : monitors->living()) {
        wantsFlags |= monitor->wants(KeyEvent::Kind::flagsChanged);
        wantsKeys |= monitor->wants(KeyEvent::Kind::keyDown);
    }
    if (std::exchange(watchesKeys, wantsKeys) != wantsKeys)
        selectRawKeys(loop->connection(), loop->root(),
            wantsKeys ? std::uint32_t{XCB_INPUT_XI_EVENT_MASK_RAW_KEY_PRESS} : 0U);
    if (std::exchange(watchesFlags, wantsFlags) == wantsFlags) return;
    constexpr std::uint16_t modifierParts =
        XCB_XKB_STATE_PART_MODIFIER_BASE | XCB_XKB_STATE_PART_MODIFIER_LOCK;
    keyboard->selectState(wantsFlags ? modifierParts : std::uint16_t{0});
    if (!wantsFlags) return;
    const auto state = keyboard->state();
    heldModifiers = state ? state->baseMods : std::uint8_t{0};
    refreshKeymap();
    flags = flagsOf(heldModifiers, state ? state->lockedMods : std::uint8_t{0});
}

void XcbKeyEventSource::take(const xcb_generic_event_t& event) {
    const auto* state = keyboard->take(event);
    refreshSoon();
    if (state != nullptr) {
        modifiersChanged(state->baseMods, state->lockedMods);
        return;
    }
    const auto& generic = reinterpret_cast<const xcb_ge_generic_event_t&>(event);
    if ((event.response_type & 0x7f) != XCB_GE_GENERIC || generic.extension != rawEvents ||
        generic.event_type != XCB_INPUT_RAW_KEY_PRESS)
        return;
    const auto& press = reinterpret_cast<const xcb_input_raw_key_press_event_t&>(event);
    if ((press.flags & XCB_INPUT_KEY_EVENT_FLAGS_KEY_REPEAT) == 0)
        keyPressed(static_cast<xcb_keycode_t>(press.detail));
}

/// A new keymap is told of in several events: one look after the last of them will do,
/// unless a key comes first.
void XcbKeyEventSource::refreshSoon() {
    if (!keyboard->isKeymapOld() || std::exchange(isRefreshing, true)) return;
    constexpr Seconds settling = 0.05;
    loop->schedule(settling, [this] {
        isRefreshing = false;
        refreshKeymap();
    });
}

void XcbKeyEventSource::refreshKeymap() {
    if (!keyboard->isKeymapOld()) return;
    keymap = keyboard->keymap();
    if (keymap) mask.choose(*keymap);
}

void XcbKeyEventSource::keyPressed(xcb_keycode_t key) {
    refreshKeymap();
    if (mask.isTap(key) || keymap->isModifier(key)) return;
    tell({.kind = KeyEvent::Kind::keyDown, .flags = flags});
}

void XcbKeyEventSource::modifiersChanged(std::uint8_t held, std::uint8_t locked) {
    if (!watchesFlags) return;
    refreshKeymap();
    const auto before = std::exchange(heldModifiers, held);
    const bool altWentDown = (before & keymap->alt()) == 0 && isAltAlone(held);
    if (altWentDown && !keyboard->hasStickyKeys()) mask.tap();
    const auto now = flagsOf(held, locked);
    if (now == flags) return;
    flags = now;
    tell({.kind = KeyEvent::Kind::flagsChanged, .flags = flags});
}

bool XcbKeyEventSource::isAltAlone(std::uint8_t held) const {
    const auto alone = flagsOf(held, 0);
    return alone.option && !alone.command && !alone.control && !alone.shift && !alone.function;
}

/// Num Lock, held or on, is no modifier for people.
ModifierFlags XcbKeyEventSource::flagsOf(std::uint8_t held, std::uint8_t locked) const {
    const unsigned known = unsigned{keymap->alt()} | keymap->super() | keymap->numLock() |
                           XCB_MOD_MASK_CONTROL | XCB_MOD_MASK_SHIFT | XCB_MOD_MASK_LOCK;
    return {.option = (held & keymap->alt()) != 0,
        .command = (held & keymap->super()) != 0,
        .control = (held & XCB_MOD_MASK_CONTROL) != 0,
        .shift = (held & XCB_MOD_MASK_SHIFT) != 0,
        .function = (held & ~known) != 0,
        .capsLock = (locked & XCB_MOD_MASK_LOCK) != 0};
}

void XcbKeyEventSource::tell(const KeyEvent& event) {
    for (const auto& monitor : monitors->living())
        if (monitor->wants(event.kind)) monitor->handler(event);
}

} // namespace nimbe
