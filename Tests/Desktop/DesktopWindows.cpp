#include "DesktopWindows.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string_view>
#include <xcb/xtest.h>

namespace nimbe {
namespace {

struct Free {
    void operator()(void* memory) const { std::free(memory); }
};
template <typename T>
using Reply = std::unique_ptr<T, Free>;

double now() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

void pause(int milliseconds) {
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

std::string hex(std::uint32_t number) {
    char text[16];
    std::snprintf(text, sizeof text, "%x", number);
    return text;
}

} // namespace

DesktopWindows::DesktopWindows() : xcb(xcb_connect(nullptr, nullptr)) {
    if (xcb_connection_has_error(xcb) != 0) throw std::runtime_error("no X server");
    screen = xcb_setup_roots_iterator(xcb_get_setup(xcb)).data;
}

DesktopWindows::~DesktopWindows() {
    xcb_disconnect(xcb);
}

void DesktopWindows::sync() {
    const Reply<xcb_get_input_focus_reply_t> reply{
        xcb_get_input_focus_reply(xcb, xcb_get_input_focus(xcb), nullptr)};
}

double DesktopWindows::key(std::uint8_t keycode, bool isDown) {
    const std::uint8_t action =
        isDown ? std::uint8_t{XCB_KEY_PRESS} : std::uint8_t{XCB_KEY_RELEASE};
    xcb_test_fake_input(xcb, action, keycode, XCB_CURRENT_TIME, screen->root, 0, 0, 0);
    sync();
    return now();
}

void DesktopWindows::chord(std::vector<std::uint8_t> keycodes) {
    for (const auto keycode : keycodes) key(keycode, true);
    for (auto it = keycodes.rbegin(); it != keycodes.rend(); ++it) key(*it, false);
}

xcb_atom_t DesktopWindows::atom(const std::string& name) {
    const Reply<xcb_intern_atom_reply_t> reply{xcb_intern_atom_reply(xcb,
        xcb_intern_atom(xcb, 0, static_cast<std::uint16_t>(name.size()), name.data()), nullptr)};
    return reply ? reply->atom : xcb_atom_t{0};
}

std::vector<std::uint32_t> DesktopWindows::numbers(xcb_window_t window, const char* property) {
    const Reply<xcb_get_property_reply_t> reply{xcb_get_property_reply(
        xcb, xcb_get_property(xcb, 0, window, atom(property), XCB_ATOM_ANY, 0, 4096), nullptr)};
    if (!reply || reply->format != 32) return {};
    const auto* first = static_cast<const std::uint32_t*>(xcb_get_property_value(reply.get()));
    return {first, first + reply->value_len};
}

std::optional<xcb_window_t> DesktopWindows::waitForWindow(
    const std::string& windowClass, double seconds) {
    const double limit = now() + seconds;
    while (now() < limit) {
        for (const auto window : numbers(screen->root, "_NET_CLIENT_LIST")) {
            const Reply<xcb_get_property_reply_t> reply{xcb_get_property_reply(xcb,
                xcb_get_property(xcb, 0, window, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, 0, 256),
                nullptr)};
            if (!reply) continue;
            const std::string value(static_cast<const char*>(xcb_get_property_value(reply.get())),
                static_cast<std::size_t>(xcb_get_property_value_length(reply.get())));
            if (value.find(windowClass) != value.npos) return window;
        }
        pause(20);
    }
    return std::nullopt;
}

void DesktopWindows::ask(
    xcb_window_t window, const char* message, std::vector<std::uint32_t> data) {
    xcb_client_message_event_t event{};
    event.response_type = XCB_CLIENT_MESSAGE;
    event.format = 32;
    event.window = window;
    event.type = atom(message);
    std::copy(data.begin(), data.end(), event.data.data32);
    xcb_send_event(xcb, 0, screen->root,
        XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT,
        reinterpret_cast<const char*>(&event));
    sync();
}

bool DesktopWindows::focus(xcb_window_t window) {
    ask(window, "_NET_ACTIVE_WINDOW", {2, 0, 0});
    const double limit = now() + 5;
    while (activeWindow() != window) {
        if (now() > limit) return false;
        pause(5);
    }
    pause(100); // the program itself gives the keyboard to its text field
    return true;
}

xcb_window_t DesktopWindows::activeWindow() {
    const auto active = numbers(screen->root, "_NET_ACTIVE_WINDOW");
    return active.empty() ? xcb_window_t{0} : active[0];
}

bool DesktopWindows::exists(xcb_window_t window) {
    const auto all = numbers(screen->root, "_NET_CLIENT_LIST");
    return std::find(all.begin(), all.end(), window) != all.end();
}

void DesktopWindows::close(xcb_window_t window) {
    ask(window, "_NET_CLOSE_WINDOW", {0, 2});
}

void DesktopWindows::minimise(xcb_window_t window) {
    ask(window, "WM_CHANGE_STATE", {3});
}

FocusWatch::FocusWatch() : thread([this] { watch(); }) {
    while (!isWatching) pause(1);
}

FocusWatch::~FocusWatch() {
    isEnding = true;
    thread.join();
}

std::vector<std::string> FocusWatch::changes() const {
    const std::lock_guard guard(mutex);
    return seen;
}

void FocusWatch::watch() {
    xcb_connection_t* xcb = xcb_connect(nullptr, nullptr);
    const auto* screen = xcb_setup_roots_iterator(xcb_get_setup(xcb)).data;
    const std::uint32_t mask = XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY;
    xcb_change_window_attributes(xcb, screen->root, XCB_CW_EVENT_MASK, &mask);
    const Reply<xcb_intern_atom_reply_t> name{
        xcb_intern_atom_reply(xcb, xcb_intern_atom(xcb, 0, 18, "_NET_ACTIVE_WINDOW"), nullptr)};
    const auto note = [&](const std::string& change) {
        const std::lock_guard guard(mutex);
        seen.push_back(change);
    };
    std::uint32_t active = 0;
    std::uint32_t focus = 0;
    bool isFirst = true;
    while (!isEnding) {
        const Reply<xcb_get_property_reply_t> property{xcb_get_property_reply(xcb,
            xcb_get_property(xcb, 0, screen->root, name->atom, XCB_ATOM_WINDOW, 0, 1), nullptr)};
        const Reply<xcb_get_input_focus_reply_t> input{
            xcb_get_input_focus_reply(xcb, xcb_get_input_focus(xcb), nullptr)};
        std::uint32_t nowActive = 0;
        if (property && property->value_len == 1)
            std::memcpy(&nowActive, xcb_get_property_value(property.get()), sizeof nowActive);
        if (!isFirst && nowActive != active) note("active " + hex(nowActive));
        if (!isFirst && input->focus != focus) note("focus " + hex(input->focus));
        active = nowActive;
        focus = input->focus;
        while (const Reply<xcb_generic_event_t> event{xcb_poll_for_event(xcb)}) {
            if ((event->response_type & 0x7f) != XCB_MAP_NOTIFY) continue;
            const auto& map = reinterpret_cast<const xcb_map_notify_event_t&>(*event);
            if (!map.override_redirect) continue;
            // Window managers' frames are such windows too, but of no class, and so is the
            // application's overlay.
            const Reply<xcb_get_property_reply_t> reply{xcb_get_property_reply(xcb,
                xcb_get_property(xcb, 0, map.window, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, 0, 64),
                nullptr)};
            if (!reply || reply->value_len == 0) continue;
            const std::string_view classes(
                static_cast<const char*>(xcb_get_property_value(reply.get())),
                static_cast<std::size_t>(xcb_get_property_value_length(reply.get())));
            const bool isOverlay = classes.find("Nimbe") != classes.npos;
            if (!isFirst && !isOverlay) note("menu " + hex(map.window));
        }
        isFirst = false;
        isWatching = true;
        pause(10);
    }
    xcb_disconnect(xcb);
}

} // namespace nimbe
