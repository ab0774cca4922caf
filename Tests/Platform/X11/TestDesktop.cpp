#include "TestDesktop.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <iterator>
#include <signal.h>
#include <spawn.h>
#include <stdexcept>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <xcb/xinput.h>
#include <xcb/xtest.h>

#include "Fakes/FakeLogSink.h"
#include "PlatformX11/XcbKeyboardEvents.h"
#include "Support/Process.h"

extern char** environ;

namespace nimbe {
namespace {

void settle(xcb_connection_t* xcb) {
    const XcbPointer<xcb_get_input_focus_reply_t> done{
        xcb_get_input_focus_reply(xcb, xcb_get_input_focus(xcb), nullptr)};
}

FakeLogSink& quietLog() {
    static FakeLogSink sink;
    return sink;
}

} // namespace

bool eventually(RunLoop& actor, const std::function<bool()>& isSo, Seconds patience) {
    const auto end = actor.now() + patience;
    while (!isSo()) {
        if (actor.now() > end) return false;
        runFor(actor, 0.002);
    }
    return true;
}

void runFor(RunLoop& actor, Seconds time) {
    const auto timer = actor.schedule(time, [&] { actor.stop(); });
    actor.run();
}

bool eventually(const std::function<bool()>& isSo, Seconds patience) {
    RunLoop loop;
    return eventually(loop, isSo, patience);
}

TestKeyboard::TestKeyboard(Device kind) : xcb(xcb_connect(nullptr, nullptr)) {
    if (kind == Device::own) openOwnDevice();
}

void TestKeyboard::openOwnDevice() {
    const XcbPointer<xcb_input_list_input_devices_reply_t> devices{
        xcb_input_list_input_devices_reply(xcb, xcb_input_list_input_devices(xcb), nullptr)};
    auto name = xcb_input_list_input_devices_names_iterator(devices.get());
    for (int at = 0; at < devices->devices_len; ++at, xcb_str_next(&name))
        if (std::string_view(xcb_str_name(name.data),
                static_cast<std::size_t>(xcb_str_name_length(name.data))) == "Xvfb keyboard")
            device = xcb_input_list_input_devices_devices(devices.get())[at].device_id;
    if (device == 0) throw std::runtime_error("the display has no keyboard");
    const XcbPointer<xcb_input_open_device_reply_t> opened{
        xcb_input_open_device_reply(xcb, xcb_input_open_device(xcb, device), nullptr)};
    pressed = static_cast<std::uint8_t>(
        xcb_get_extension_data(xcb, &xcb_input_id)->first_event + XCB_INPUT_DEVICE_KEY_PRESS);
}

TestKeyboard::~TestKeyboard() {
    const auto held = down;
    for (const auto code : held) release(code);
    xcb_disconnect(xcb);
}

void TestKeyboard::press(xcb_keycode_t code) {
    down.push_back(code);
    send(pressed, code);
}

void TestKeyboard::release(xcb_keycode_t code) {
    std::erase(down, code);
    send(static_cast<std::uint8_t>(pressed + 1), code);
}

void TestKeyboard::tap(xcb_keycode_t code) {
    press(code);
    release(code);
}

void TestKeyboard::chord(std::initializer_list<xcb_keycode_t> codes) {
    for (const auto code : codes) press(code);
    const std::vector<xcb_keycode_t> pressed(codes);
    for (auto code = pressed.rbegin(); code != pressed.rend(); ++code) release(*code);
}

bool TestKeyboard::isDown(xcb_keycode_t code) {
    const XcbPointer<xcb_query_keymap_reply_t> keys{
        xcb_query_keymap_reply(xcb, xcb_query_keymap(xcb), nullptr)};
    return keys && (keys->keys[code / 8] & (1U << (code % 8U))) != 0;
}

void TestKeyboard::send(std::uint8_t action, xcb_keycode_t code) {
    xcb_test_fake_input(xcb, action, code, XCB_CURRENT_TIME, XCB_NONE, 0, 0, device);
    settle(xcb);
}

TestWindow::TestWindow(const Looks& looks) : loop(XcbLoop::connect(quietLog(), "test")) {
    if (!loop) throw std::runtime_error("no display");
    auto* xcb = loop->connection();
    // Who does not know of XKB is not told of groups.
    static_cast<void>(XcbKeyboardEvents::select(xcb));
    window = xcb_generate_id(xcb);
    const std::array<std::uint32_t, 2> values{loop->screen().white_pixel,
        XCB_EVENT_MASK_KEY_PRESS | XCB_EVENT_MASK_KEY_RELEASE | XCB_EVENT_MASK_PROPERTY_CHANGE};
    xcb_create_window(xcb, XCB_COPY_FROM_PARENT, window, loop->root(), 40, 50, 300, 200, 0,
        XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT, XCB_CW_BACK_PIXEL | XCB_CW_EVENT_MASK,
        values.data());
    const auto setText = [&](xcb_atom_t name, xcb_atom_t type, std::string_view text) {
        xcb_change_property(xcb, XCB_PROP_MODE_REPLACE, window, name, type, 8,
            static_cast<std::uint32_t>(text.size()), text.data());
    };
    const auto setNumbers = [&](xcb_atom_t name, xcb_atom_t type,
                                const std::vector<std::uint32_t>& numbers) {
        xcb_change_property(xcb, XCB_PROP_MODE_REPLACE, window, name, type, 32,
            static_cast<std::uint32_t>(numbers.size()), numbers.data());
    };
    if (!looks.instance.empty())
        setText(XCB_ATOM_WM_CLASS, XCB_ATOM_STRING,
            std::string(looks.instance) + '\0' + std::string(looks.className) + '\0');
    if (!looks.title.empty())
        setText(loop->atom("_NET_WM_NAME"), loop->atom("UTF8_STRING"), looks.title);
    if (!looks.oldTitle.empty()) setText(XCB_ATOM_WM_NAME, XCB_ATOM_STRING, looks.oldTitle);
    if (looks.hasPid) {
        std::array<char, 256> host{};
        ::gethostname(host.data(), host.size() - 1);
        setText(XCB_ATOM_WM_CLIENT_MACHINE, XCB_ATOM_STRING,
            looks.machine.empty() ? std::string_view(host.data()) : looks.machine);
        setNumbers(
            loop->atom("_NET_WM_PID"), XCB_ATOM_CARDINAL, {static_cast<std::uint32_t>(::getpid())});
    }
    // Flags: the input field counts. https://x.org/releases/current/doc/icccm/icccm.html
    setNumbers(
        XCB_ATOM_WM_HINTS, XCB_ATOM_WM_HINTS, {1, looks.takesInput ? 1U : 0U, 0, 0, 0, 0, 0, 0, 0});
    if (!looks.type.empty())
        setNumbers(loop->atom("_NET_WM_WINDOW_TYPE"), XCB_ATOM_ATOM,
            {loop->atom(std::string(looks.type))});
    // As if the user had asked for it just now: else it may stay behind.
    settle(xcb);
    std::uint32_t now = 0;
    static_cast<void>(loop->drain([&](const xcb_generic_event_t& event) {
        if ((event.response_type & 0x7f) == XCB_PROPERTY_NOTIFY)
            now = reinterpret_cast<const xcb_property_notify_event_t&>(event).time;
    }));
    setNumbers(loop->atom("_NET_WM_USER_TIME"), XCB_ATOM_CARDINAL, {now});
    xcb_map_window(xcb, window);
    settle(xcb);
}

TestWindow::~TestWindow() {
    destroy();
}

void TestWindow::minimise() {
    // https://x.org/releases/current/doc/icccm/icccm.html, "Changing Window State"
    constexpr std::uint32_t iconic = 3;
    xcb_client_message_event_t message{};
    message.response_type = XCB_CLIENT_MESSAGE;
    message.format = 32;
    message.window = window;
    message.type = loop->atom("WM_CHANGE_STATE");
    message.data.data32[0] = iconic;
    xcb_send_event(loop->connection(), 0, loop->root(),
        XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT,
        reinterpret_cast<const char*>(&message));
    settle(loop->connection());
}

void TestWindow::destroy() {
    if (window == XCB_NONE) return;
    xcb_destroy_window(loop->connection(), window);
    settle(loop->connection());
    // The server gives its number to the next: until the window manager has noticed, they
    // are mixed up.
    static_cast<void>(eventually([this] {
        const auto managed = managedWindows();
        return std::find(managed.begin(), managed.end(), window) == managed.end();
    }));
    window = XCB_NONE;
}

bool TestWindow::isViewable() {
    auto* xcb = loop->connection();
    const XcbPointer<xcb_get_window_attributes_reply_t> attributes{
        xcb_get_window_attributes_reply(xcb, xcb_get_window_attributes(xcb, window), nullptr)};
    return attributes && attributes->map_state == XCB_MAP_STATE_VIEWABLE;
}

bool TestWindow::hasFocus() {
    auto* xcb = loop->connection();
    const XcbPointer<xcb_get_input_focus_reply_t> focus{
        xcb_get_input_focus_reply(xcb, xcb_get_input_focus(xcb), nullptr)};
    return focus && focus->focus == window;
}

const std::vector<TestWindow::Key>& TestWindow::keys() {
    settle(loop->connection());
    static_cast<void>(loop->drain([this](const xcb_generic_event_t& event) {
        const auto type = event.response_type & 0x7f;
        if (type != XCB_KEY_PRESS && type != XCB_KEY_RELEASE) return;
        const auto& press = reinterpret_cast<const xcb_key_press_event_t&>(event);
        got.push_back({type == XCB_KEY_PRESS, press.detail, press.state});
    }));
    return got;
}

std::string TestWindow::typed() {
    std::string text;
    for (const auto& key : keys()) {
        if (!text.empty()) text += ' ';
        text += (key.isPress ? '+' : '-') + std::to_string(key.code);
    }
    return text;
}

RunningProgram::RunningProgram(std::vector<std::string> arguments, const std::string& errors) {
    std::vector<char*> words;
    for (auto& argument : arguments) words.push_back(argument.data());
    words.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    if (!errors.empty())
        ::posix_spawn_file_actions_addopen(
            &actions, STDERR_FILENO, errors.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
    const int failure = ::posix_spawnp(&child, words[0], &actions, nullptr, words.data(), environ);
    ::posix_spawn_file_actions_destroy(&actions);
    if (failure != 0) throw std::runtime_error("cannot start " + arguments[0]);
}

RunningProgram::~RunningProgram() {
    kill();
}

void RunningProgram::kill() {
    if (child <= 0) return;
    ::kill(child, SIGKILL);
    ::waitpid(child, nullptr, 0);
    child = -1;
}

TestLayout::TestLayout(const std::string& layouts) {
    if (Process::run({"/usr/bin/setxkbmap", layouts}, {}).exitCode != 0)
        throw std::runtime_error("setxkbmap " + layouts);
}

TestLayout::~TestLayout() {
    lockGroup(0);
    static_cast<void>(Process::run({"/usr/bin/setxkbmap", "us"}, {}));
}

void TestLayout::lockGroup(unsigned group) {
    auto* xcb = xcb_connect(nullptr, nullptr);
    static_cast<void>(XcbKeyboardEvents::select(xcb));
    xcb_xkb_latch_lock_state(
        xcb, XCB_XKB_ID_USE_CORE_KBD, 0, 0, 1, static_cast<std::uint8_t>(group), 0, 0, 0);
    settle(xcb);
    xcb_disconnect(xcb);
}

void TestLayout::lockModifiers(unsigned modifiers) {
    auto* xcb = xcb_connect(nullptr, nullptr);
    static_cast<void>(XcbKeyboardEvents::select(xcb));
    xcb_xkb_latch_lock_state(
        xcb, XCB_XKB_ID_USE_CORE_KBD, 0xff, static_cast<std::uint8_t>(modifiers), 0, 0, 0, 0, 0);
    settle(xcb);
    xcb_disconnect(xcb);
}

std::vector<xcb_window_t> managedWindows() {
    const auto loop = XcbLoop::connect(quietLog(), "test");
    const XcbPointer<xcb_get_property_reply_t> list{xcb_get_property_reply(loop->connection(),
        xcb_get_property(loop->connection(), 0, loop->root(), loop->atom("_NET_CLIENT_LIST"),
            XCB_ATOM_WINDOW, 0, 1000),
        nullptr)};
    if (!list) return {};
    const auto* first = static_cast<const xcb_window_t*>(xcb_get_property_value(list.get()));
    return {first, first + xcb_get_property_value_length(list.get()) / 4};
}

std::string textOfFile(const std::string& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

} // namespace nimbe
