#include "PlatformX11/XcbHotKeys.h"

#include <algorithm>
#include <array>
#include <optional>
#include <utility>
#include <vector>

#include "PlatformX11/XcbKeyboardEvents.h"

namespace nimbe {
namespace {

/// Where a chord stands on the keyboard.
struct Place {
    xcb_keycode_t key = 0;
    std::uint16_t modifiers = 0;
    std::uint16_t numLock = 0; // the keymap's, with which it was grabbed

    [[nodiscard]] bool isOf(xcb_keycode_t pressed, std::uint16_t held) const {
        return key == pressed && modifiers == held;
    }
    friend bool operator==(const Place&, const Place&) = default;
};

/// The modifiers of which chords are made.
std::uint16_t chordModifiers(const XcbKeymap& keymap) {
    return static_cast<std::uint16_t>(
        XCB_MOD_MASK_SHIFT | XCB_MOD_MASK_CONTROL | keymap.alt() | keymap.super());
}

/// Absent: no key or modifier of the keyboard gives it.
std::optional<Place> placeOf(
    const Shortcut& shortcut, const XcbKeymap& keymap, std::uint8_t group) {
    const auto keysym = xkb_keysym_from_name(shortcut.key.c_str(), XKB_KEYSYM_NO_FLAGS);
    if (keysym == XKB_KEY_NoSymbol) return std::nullopt;
    const auto key = keymap.key(keysym, group);
    if (!key || keymap.isModifier(key->code)) return std::nullopt;
    if ((shortcut.option && keymap.alt() == 0) || (shortcut.command && keymap.super() == 0))
        return std::nullopt;
    unsigned modifiers = 0;
    if (shortcut.control) modifiers |= XCB_MOD_MASK_CONTROL;
    if (shortcut.shift) modifiers |= XCB_MOD_MASK_SHIFT;
    if (shortcut.option) modifiers |= keymap.alt();
    if (shortcut.command) modifiers |= keymap.super();
    return Place{key->code, static_cast<std::uint16_t>(modifiers), keymap.numLock()};
}

struct Layout {
    std::shared_ptr<const XcbKeymap> keymap;
    std::uint8_t group = 0;
};

struct KeyAction {
    bool isPress = false;
    xcb_keycode_t key = 0;
    std::uint16_t state = 0; // modifiers before it
};

} // namespace

/// The chords and who waits for them. Main thread.
class XcbHotKeys::Grabs : public std::enable_shared_from_this<Grabs> {
public:
    Grabs(XcbLoop& loop, Layout layout, LogSink& sink)
        : loop(&loop), layout(std::move(layout)), log(sink, "x11") {}

    /// The loop goes.
    void end() { loop = nullptr; }

    Result<Token, HotKeyError> add(const Shortcut& shortcut, Handlers handlers) {
        if (loop == nullptr || !loop->isConnected() || !layout.keymap)
            return failure(HotKeyError::unavailable);
        const auto place = placeOf(shortcut, *layout.keymap, layout.group);
        if (!place) return failure(HotKeyError::unknownKey);
        if (isHeld(*place) || !grab(*place)) {
            return failure(loop->isConnected() ? HotKeyError::taken : HotKeyError::unavailable);
        }
        const auto chord = std::make_shared<Chord>(shortcut, std::move(handlers), place);
        chords.push_back(chord);
        return Token(std::make_shared<Registration>(weak_from_this(), chord));
    }

    void follow(Layout changed) {
        layout = std::move(changed);
        if (loop == nullptr) return;
        // All let go before any is taken: they may change places.
        for (const auto& chord : chords) {
            const auto place = placeOf(chord->shortcut, *layout.keymap, layout.group);
            if (chord->place && chord->place != place) ungrab(*chord->place);
            if (chord->place != place) chord->place.reset();
        }
        for (const auto& chord : chords) {
            if (chord->place) continue;
            const auto place = placeOf(chord->shortcut, *layout.keymap, layout.group);
            if (place && !isHeld(*place) && grab(*place))
                chord->place = place;
            else
                log.warning("x11: a shortcut has no key of its own in this layout");
        }
    }

    void take(const KeyAction& action) {
        if (action.isPress)
            press(action);
        else
            release(action);
    }

private:
    struct Chord {
        Chord(Shortcut shortcut, Handlers handlers, std::optional<Place> place)
            : shortcut(std::move(shortcut)), handlers(std::move(handlers)), place(place) {}

        Shortcut shortcut;
        Handlers handlers;
        std::optional<Place> place; // as grabbed; absent: the layout has none
        std::optional<Place> down;  // where it was pressed, until the key is let go
        bool owesUp = false;
    };

    struct Registration {
        std::weak_ptr<Grabs> grabs;
        std::shared_ptr<Chord> chord;

        Registration(std::weak_ptr<Grabs> grabs, std::shared_ptr<Chord> chord)
            : grabs(std::move(grabs)), chord(std::move(chord)) {}
        Registration(const Registration&) = delete;
        Registration& operator=(const Registration&) = delete;
        ~Registration() {
            if (const auto all = grabs.lock()) all->remove(*chord);
        }
    };

    XcbLoop* loop;
    Layout layout;
    Log log;
    std::vector<std::shared_ptr<Chord>> chords;

    void remove(Chord& chord) {
        if (chord.place && loop != nullptr) ungrab(*chord.place);
        chord.place.reset();
        chord.owesUp = false;
        std::erase_if(chords, [&](const auto& other) { return other.get() == &chord; });
    }

    [[nodiscard]] bool isHeld(const Place& place) const {
        return std::any_of(chords.begin(), chords.end(), [&](const auto& chord) {
            return chord->place && chord->place->isOf(place.key, place.modifiers);
        });
    }

    /// Locks that are on are modifiers to the server.
    [[nodiscard]] static std::array<std::uint16_t, 4> withLocks(const Place& place) {
        const auto with = [&](unsigned locks) {
            return static_cast<std::uint16_t>(place.modifiers | locks);
        };
        return {with(0), with(XCB_MOD_MASK_LOCK), with(place.numLock),
            with(unsigned{XCB_MOD_MASK_LOCK} | place.numLock)};
    }

    /// False: another program holds the chord, or the server has gone.
    [[nodiscard]] bool grab(const Place& place) {
        auto* xcb = loop->connection();
        std::array<xcb_void_cookie_t, 4> asked{};
        const auto masks = withLocks(place);
        for (std::size_t at = 0; at < masks.size(); ++at)
            asked[at] = xcb_grab_key_checked(xcb, 0, loop->root(), masks[at], place.key,
                XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC);
        bool isOurs = true;
        for (const auto cookie : asked) {
            const XcbPointer<xcb_generic_error_t> error{xcb_request_check(xcb, cookie)};
            if (error) isOurs = false;
        }
        isOurs = isOurs && loop->isConnected();
        if (!isOurs) ungrab(place);
        loop->wake();
        return isOurs;
    }

    void ungrab(const Place& place) {
        for (const auto mask : withLocks(place))
            xcb_ungrab_key(loop->connection(), place.key, loop->root(), mask);
        xcb_flush(loop->connection());
        loop->wake();
    }

    /// A held key repeats; and with its modifiers pressed anew it is the same press still.
    void press(const KeyAction& action) {
        const auto modifiers =
            static_cast<std::uint16_t>(action.state & chordModifiers(*layout.keymap));
        for (const auto& chord : chords)
            if (chord->down && chord->down->key == action.key) return;
        const auto found = std::find_if(chords.begin(), chords.end(), [&](const auto& chord) {
            return chord->place && chord->place->isOf(action.key, modifiers);
        });
        if (found == chords.end()) return;
        const auto chord = *found; // the handler may drop it
        chord->down = chord->place;
        chord->owesUp = true;
        if (chord->handlers.down) chord->handlers.down();
    }

    void release(const KeyAction& action) {
        const auto modifiers = layout.keymap->modifiers(action.key);
        const auto told = chords; // a handler may register and drop
        for (const auto& chord : told) {
            if (!chord->down) continue;
            const bool isKey = chord->down->key == action.key;
            if (!isKey && (chord->down->modifiers & modifiers) == 0) continue;
            if (isKey) chord->down.reset();
            if (std::exchange(chord->owesUp, false) && chord->handlers.up) chord->handlers.up();
        }
    }
};

/// Reads the connection's events and hands them to the main thread.
class XcbHotKeys::Reader {
public:
    Reader(XcbLoop& loop, XcbKeyboardEvents events) : loop(loop), events(std::move(events)) {
        this->events.selectState(XCB_XKB_STATE_PART_GROUP_STATE);
        // Else a held key lets go and comes again all the time.
        xcb_xkb_per_client_flags(loop.connection(), XCB_XKB_ID_USE_CORE_KBD,
            XCB_XKB_PER_CLIENT_FLAG_DETECTABLE_AUTO_REPEAT,
            XCB_XKB_PER_CLIENT_FLAG_DETECTABLE_AUTO_REPEAT, 0, 0, 0);
    }

    /// Before start().
    [[nodiscard]] Layout layout() {
        const auto state = events.state();
        return {events.keymap(), state ? state->group : std::uint8_t{0}};
    }

    void start(MainActor& actor, const std::weak_ptr<Grabs>& grabs) {
        loop.start([this, &actor, grabs](const xcb_generic_event_t& event) {
            const auto* state = events.take(event);
            if (state != nullptr || events.isKeymapOld()) follow(actor, grabs);
            const auto type = event.response_type & 0x7f;
            if (type != XCB_KEY_PRESS && type != XCB_KEY_RELEASE) return;
            const auto& key = reinterpret_cast<const xcb_key_press_event_t&>(event);
            actor.post([grabs, action = KeyAction{type == XCB_KEY_PRESS, key.detail, key.state}] {
                if (const auto all = grabs.lock()) all->take(action);
            });
        });
    }

private:
    XcbLoop& loop;
    XcbKeyboardEvents events;
    bool isFollowing = false; // soon

    /// A new keymap is told of in several events: one look after the last of them will do.
    void follow(MainActor& actor, const std::weak_ptr<Grabs>& grabs) {
        if (std::exchange(isFollowing, true)) return;
        constexpr Seconds settling = 0.05;
        loop.schedule(settling, [this, &actor, grabs] {
            isFollowing = false;
            actor.post([grabs, changed = layout()] {
                if (const auto all = grabs.lock(); all && changed.keymap) all->follow(changed);
            });
        });
    }
};

std::unique_ptr<XcbHotKeys> XcbHotKeys::connect(MainActor& actor, LogSink& sink) {
    auto loop = XcbLoop::connect(sink, "nimbe-hotkeys");
    if (!loop) return nullptr;
    return std::unique_ptr<XcbHotKeys>(new XcbHotKeys(std::move(loop), actor, sink));
}

XcbHotKeys::XcbHotKeys(std::unique_ptr<XcbLoop> connected, MainActor& actor, LogSink& sink)
    : loop(std::move(connected)) {
    auto events = XcbKeyboardEvents::select(loop->connection());
    if (events) reader = std::make_unique<Reader>(*loop, std::move(*events));
    grabs = std::make_shared<Grabs>(*loop, reader ? reader->layout() : Layout{}, sink);
    if (reader) reader->start(actor, grabs);
}

XcbHotKeys::~XcbHotKeys() {
    grabs->end();
    loop->stop();
}

Result<Token, HotKeyError> XcbHotKeys::registerHotKey(const Shortcut& shortcut, Handlers handlers) {
    return grabs->add(shortcut, std::move(handlers));
}

} // namespace nimbe
