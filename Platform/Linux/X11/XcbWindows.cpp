#include "PlatformX11/XcbWindows.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <string_view>
#include <unistd.h>
#include <utility>
#include <xcb/xcb.h>

#include "Foundation/Text.h"

namespace nimbe {
namespace {

using Property = XcbPointer<xcb_get_property_reply_t>;

std::string hostName() {
    std::array<char, 256> name{};
    ::gethostname(name.data(), name.size() - 1);
    return name.data();
}

std::string_view bytesOf(const Property& property) {
    if (!property || property->format != 8) return {};
    return {static_cast<const char*>(xcb_get_property_value(property.get())),
        static_cast<std::size_t>(xcb_get_property_value_length(property.get()))};
}

std::optional<std::uint32_t> numberOf(const Property& property) {
    if (!property || property->format != 32 ||
        xcb_get_property_value_length(property.get()) < int{sizeof(std::uint32_t)})
        return std::nullopt;
    std::uint32_t number = 0;
    std::memcpy(&number, xcb_get_property_value(property.get()), sizeof number);
    return number;
}

bool hasAtom(const Property& property, xcb_atom_t atom) {
    if (!property || property->format != 32) return false;
    const auto* atoms = static_cast<const xcb_atom_t*>(xcb_get_property_value(property.get()));
    const auto count = xcb_get_property_value_length(property.get()) / int{sizeof(xcb_atom_t)};
    return std::find(atoms, atoms + count, atom) != atoms + count;
}

/// STRING is Latin-1, but many put UTF-8 into it; of COMPOUND_TEXT only what is Latin-1
/// can be read. https://x.org/releases/current/doc/icccm/icccm.html, "TEXT Properties"
std::string textOf(std::string_view bytes) {
    bytes = bytes.substr(0, bytes.find('\0'));
    std::string text;
    if (bytes.find('\x1b') != bytes.npos) return text;
    // Cut off by us, maybe within a character: at most its first three bytes stand there.
    for (std::size_t tail = 0; tail < 4 && tail <= bytes.size(); ++tail)
        if (text::isValidUtf8(bytes.substr(0, bytes.size() - tail)) &&
            (tail == 0 || bytes.size() >= 1000)) {
            text = bytes.substr(0, bytes.size() - tail);
            break;
        }
    if (text.empty())
        for (const char byte : bytes) {
            const auto code = static_cast<unsigned char>(byte);
            if (code < 0x80) {
                text += byte;
            } else {
                text += static_cast<char>(0xc0 | (code >> 6));
                text += static_cast<char>(0x80 | (code & 0x3f));
            }
        }
    for (auto& byte : text)
        if (static_cast<unsigned char>(byte) < 0x20 || byte == 0x7f) byte = ' ';
    return std::string(text::trimmed(std::string_view(text)));
}

} // namespace

std::unique_ptr<XcbWindows> XcbWindows::connect(LogSink& sink) {
    auto loop = XcbLoop::connect(sink, "nimbe-windows");
    if (!loop) return nullptr;
    return std::unique_ptr<XcbWindows>(new XcbWindows(std::move(loop), sink));
}

XcbWindows::XcbWindows(std::unique_ptr<XcbLoop> connection, LogSink& sink)
    : loop(std::move(connection)), log(sink, "x11"), host(hostName()) {
    atoms = {loop->atom("_NET_ACTIVE_WINDOW"), loop->atom("_NET_SUPPORTING_WM_CHECK"),
        loop->atom("_NET_WM_PID"), loop->atom("_NET_WM_NAME"), loop->atom("_NET_WM_WINDOW_TYPE"),
        loop->atom("_NET_WM_WINDOW_TYPE_DESKTOP"), loop->atom("_NET_WM_WINDOW_TYPE_DOCK"),
        loop->atom("UTF8_STRING"), loop->atom("WM_STATE")};
    auto* xcb = loop->connection();
    clock = xcb_generate_id(xcb);
    const std::uint32_t events = XCB_EVENT_MASK_PROPERTY_CHANGE;
    xcb_create_window(xcb, 0, clock, loop->root(), -1, -1, 1, 1, 0, XCB_WINDOW_CLASS_INPUT_ONLY,
        XCB_COPY_FROM_PARENT, XCB_CW_EVENT_MASK, &events);
}

std::optional<XcbWindows::Front> XcbWindows::front() {
    if (!loop->drain()) return std::nullopt;
    auto* xcb = loop->connection();
    const auto activeAsked =
        xcb_get_property(xcb, 0, loop->root(), atoms.activeWindow, XCB_ATOM_WINDOW, 0, 1);
    const auto checkAsked =
        xcb_get_property(xcb, 0, loop->root(), atoms.supportingCheck, XCB_ATOM_WINDOW, 0, 1);
    const auto focusAsked = xcb_get_input_focus(xcb);
    const Property active{xcb_get_property_reply(xcb, activeAsked, nullptr)};
    const Property check{xcb_get_property_reply(xcb, checkAsked, nullptr)};
    const XcbPointer<xcb_get_input_focus_reply_t> focus{
        xcb_get_input_focus_reply(xcb, focusAsked, nullptr)};
    if (!focus) return std::nullopt;
    return Front{numberOf(check).value_or(XCB_NONE) != XCB_NONE,
        numberOf(active).value_or(XCB_NONE), focus->focus};
}

std::optional<xcb_window_t> XcbWindows::active() {
    const auto now = front();
    if (!now) return std::nullopt;
    if (!now->isManaged) return applicationAround(now->focus, XCB_NONE);
    if (now->active == XCB_NONE) return std::nullopt;
    return now->active;
}

std::optional<xcb_window_t> XcbWindows::withKeyboard() {
    const auto now = front();
    if (!now || (now->isManaged && now->active == XCB_NONE)) return std::nullopt;
    if (now->isManaged && now->focus == now->active) return now->active;
    return applicationAround(now->focus, now->isManaged ? now->active : XCB_NONE);
}

/// Upwards from a window that has the keyboard to `stop`, or to the first that a window
/// manager has marked as an application's; without a window manager to the outermost.
std::optional<xcb_window_t> XcbWindows::applicationAround(xcb_window_t focus, xcb_window_t stop) {
    constexpr int deepest = 32; // windows in windows; a loop cannot be, but may be reported
    auto* xcb = loop->connection();
    auto window = focus;
    for (int depth = 0; depth < deepest; ++depth) {
        if (window == XCB_NONE || window == XCB_INPUT_FOCUS_POINTER_ROOT || window == loop->root())
            return std::nullopt;
        if (window == stop) return window;
        const auto treeAsked = xcb_query_tree(xcb, window);
        const auto stateAsked =
            xcb_get_property(xcb, 0, window, atoms.state, XCB_GET_PROPERTY_TYPE_ANY, 0, 1);
        const XcbPointer<xcb_query_tree_reply_t> tree{
            xcb_query_tree_reply(xcb, treeAsked, nullptr)};
        const Property state{xcb_get_property_reply(xcb, stateAsked, nullptr)};
        if (!tree) return std::nullopt;
        if (numberOf(state)) return window;
        if (stop == XCB_NONE && tree->parent == loop->root()) return window;
        window = tree->parent;
    }
    return std::nullopt;
}

std::optional<XcbWindows::Window> XcbWindows::look(xcb_window_t window) {
    if (!loop->drain()) return std::nullopt;
    auto* xcb = loop->connection();
    const auto ask = [&](xcb_atom_t name, xcb_atom_t type) {
        return xcb_get_property(xcb, 0, window, name, type, 0, 250); // 1,000 bytes
    };
    const auto take = [&](xcb_get_property_cookie_t asked) {
        return Property{xcb_get_property_reply(xcb, asked, nullptr)};
    };
    const auto attributesAsked = xcb_get_window_attributes(xcb, window);
    const auto geometryAsked = xcb_get_geometry(xcb, window);
    const auto placeAsked = xcb_translate_coordinates(xcb, window, loop->root(), 0, 0);
    const auto typeAsked = ask(atoms.windowType, XCB_ATOM_ATOM);
    const auto pidAsked = ask(atoms.pid, XCB_ATOM_CARDINAL);
    const auto machineAsked = ask(XCB_ATOM_WM_CLIENT_MACHINE, XCB_GET_PROPERTY_TYPE_ANY);
    const auto classAsked = ask(XCB_ATOM_WM_CLASS, XCB_GET_PROPERTY_TYPE_ANY);
    const auto titleAsked = ask(atoms.name, XCB_GET_PROPERTY_TYPE_ANY);
    const auto oldTitleAsked = ask(XCB_ATOM_WM_NAME, XCB_GET_PROPERTY_TYPE_ANY);

    const XcbPointer<xcb_get_window_attributes_reply_t> attributes{
        xcb_get_window_attributes_reply(xcb, attributesAsked, nullptr)};
    const XcbPointer<xcb_get_geometry_reply_t> geometry{
        xcb_get_geometry_reply(xcb, geometryAsked, nullptr)};
    const XcbPointer<xcb_translate_coordinates_reply_t> place{
        xcb_translate_coordinates_reply(xcb, placeAsked, nullptr)};
    const auto type = take(typeAsked);
    const auto pid = take(pidAsked);
    const auto machine = take(machineAsked);
    const auto classes = take(classAsked);
    const auto title = take(titleAsked);
    const auto oldTitle = take(oldTitleAsked);
    if (!attributes || attributes->override_redirect != 0 || hasAtom(type, atoms.typeDesktop) ||
        hasAtom(type, atoms.typeDock))
        return std::nullopt;

    Window result;
    result.id = window;
    const auto number = numberOf(pid);
    if (number && *number != 0 && textOf(bytesOf(machine)) == host)
        result.pid = static_cast<int>(*number);
    const auto both = bytesOf(classes);
    const auto end = std::min(both.find('\0'), both.size());
    result.instance = textOf(both.substr(0, end));
    if (end < both.size()) result.className = textOf(both.substr(end + 1));
    result.title = textOf(bytesOf(title));
    if (result.title.empty()) result.title = textOf(bytesOf(oldTitle));
    if (geometry && place)
        result.frame = {place->dst_x, place->dst_y, geometry->width, geometry->height};
    return result;
}

/// Of a change of nothing, whose event comes before the reply to the next request.
xcb_timestamp_t XcbWindows::serverTime() {
    auto* xcb = loop->connection();
    xcb_change_property(
        xcb, XCB_PROP_MODE_APPEND, clock, XCB_ATOM_WM_NAME, XCB_ATOM_STRING, 8, 0, nullptr);
    const XcbPointer<xcb_get_input_focus_reply_t> done{
        xcb_get_input_focus_reply(xcb, xcb_get_input_focus(xcb), nullptr)};
    xcb_timestamp_t time = XCB_CURRENT_TIME;
    const bool isThere = loop->drain([&](const xcb_generic_event_t& event) {
        if ((event.response_type & 0x7f) == XCB_PROPERTY_NOTIFY)
            time = reinterpret_cast<const xcb_property_notify_event_t&>(event).time;
    });
    return isThere ? time : xcb_timestamp_t{XCB_CURRENT_TIME};
}

void XcbWindows::activate(xcb_window_t window) {
    const auto now = front();
    if (!now) return;
    auto* xcb = loop->connection();
    const auto time = serverTime();
    if (now->isManaged) {
        xcb_client_message_event_t message{};
        message.response_type = XCB_CLIENT_MESSAGE;
        message.format = 32;
        message.window = window;
        message.type = atoms.activeWindow;
        // From a pager: what programs ask for themselves may be refused as theft of the focus.
        // By freedesktop.org's Extended Window Manager Hints, _NET_ACTIVE_WINDOW.
        constexpr std::uint32_t pager = 2;
        message.data.data32[0] = pager;
        message.data.data32[1] = time;
        std::array<char, 32> event{};
        std::memcpy(event.data(), &message, sizeof message);
        xcb_send_event(xcb, 0, loop->root(),
            XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT,
            event.data());
    } else {
        const std::uint32_t above = XCB_STACK_MODE_ABOVE;
        xcb_configure_window(xcb, window, XCB_CONFIG_WINDOW_STACK_MODE, &above);
        xcb_set_input_focus(xcb, XCB_INPUT_FOCUS_PARENT, window, time);
    }
    xcb_flush(xcb);
}

} // namespace nimbe
