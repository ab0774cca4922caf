#pragma once

#include <functional>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <vector>
#include <xcb/xcb.h>

#include "Foundation/Date.h"
#include "Foundation/RunLoop.h"
#include "PlatformX11/XcbLoop.h"

namespace nimbe {

/// What tests with a display share: a user who types, and windows to type into.

/// Keys of a PC keyboard by their place, as X numbers them.
namespace key {
inline constexpr xcb_keycode_t a = 38, d = 40, s = 39, v = 55, x = 53, one = 10, f9 = 75, j = 44,
                               escape = 9, control = 37, shift = 50, leftAlt = 64, rightAlt = 108,
                               super = 133, capsLock = 66, numLock = 77, insert = 118;
} // namespace key

/// Runs the main actor until it is so; false when it is not within so many seconds.
[[nodiscard]] bool eventually(
    RunLoop& actor, const std::function<bool()>& isSo, Seconds patience = 10);

/// Runs the main actor for a while, as long as a user takes for something.
void runFor(RunLoop& actor, Seconds time);

/// For what is awaited without a main actor.
[[nodiscard]] bool eventually(const std::function<bool()>& isSo, Seconds patience = 10);

/// A keyboard: key events by XTEST over a connection of its own. Lets go of all keys at
/// its end.
class TestKeyboard {
public:
    enum class Device {
        xtest, // as programs type
        own    // the display's keyboard, as the user types: the server tells them apart
    };
    explicit TestKeyboard(Device device = Device::xtest);
    ~TestKeyboard();
    TestKeyboard(const TestKeyboard&) = delete;
    TestKeyboard& operator=(const TestKeyboard&) = delete;

    /// Each has happened when the call returns.
    void press(xcb_keycode_t code);
    void release(xcb_keycode_t code);
    void tap(xcb_keycode_t code);
    /// The first ones held, the last one tapped.
    void chord(std::initializer_list<xcb_keycode_t> codes);

    [[nodiscard]] bool isDown(xcb_keycode_t code);
    /// Of its own device, for setxkbmap.
    [[nodiscard]] int number() const { return device; }

private:
    xcb_connection_t* xcb;
    std::vector<xcb_keycode_t> down;
    std::uint8_t pressed = XCB_KEY_PRESS; // the extension's events for a device of its own
    std::uint8_t device = 0;

    void openOwnDevice();

    void send(std::uint8_t action, xcb_keycode_t code);
};

/// A plain window, on the screen from when it is made.
class TestWindow {
public:
    struct Looks {
        std::string_view instance = "probe";
        std::string_view className = "Probe"; // with an empty instance: no WM_CLASS
        std::string_view title = {};          // UTF-8; empty: none
        std::string_view oldTitle = {};       // as it is, WM_NAME
        bool hasPid = true;
        bool takesInput = true;
        std::string_view type = {};    // _NET_WM_WINDOW_TYPE_…
        std::string_view machine = {}; // empty: this one
    };
    explicit TestWindow(const Looks& looks);
    TestWindow() : TestWindow(Looks{}) {}
    ~TestWindow();
    TestWindow(const TestWindow&) = delete;
    TestWindow& operator=(const TestWindow&) = delete;

    [[nodiscard]] xcb_window_t id() const { return window; }
    [[nodiscard]] xcb_connection_t* connection() const { return loop->connection(); }

    void minimise();
    void destroy();
    [[nodiscard]] bool isViewable();
    /// Whether it has the keyboard.
    [[nodiscard]] bool hasFocus();

    struct Key {
        bool isPress = false;
        xcb_keycode_t code = 0;
        std::uint16_t state = 0;
    };
    /// All that it got so far.
    [[nodiscard]] const std::vector<Key>& keys();
    /// "+37 +55 -55 -37": what it got of keys.
    [[nodiscard]] std::string typed();

private:
    std::unique_ptr<XcbLoop> loop;
    xcb_window_t window = XCB_NONE;
    std::vector<Key> got;
};

/// A program that runs as long as the object. With the test's own environment.
class RunningProgram {
public:
    /// What it writes as errors goes into a file, if there is one.
    explicit RunningProgram(std::vector<std::string> arguments, const std::string& errors = {});
    ~RunningProgram();
    RunningProgram(const RunningProgram&) = delete;
    RunningProgram& operator=(const RunningProgram&) = delete;

    [[nodiscard]] pid_t pid() const { return child; }
    void kill();

private:
    pid_t child = -1;
};

/// Sets the layouts as setxkbmap takes them, and puts "us" back at its end.
class TestLayout {
public:
    explicit TestLayout(const std::string& layouts);
    ~TestLayout();
    TestLayout(const TestLayout&) = delete;
    TestLayout& operator=(const TestLayout&) = delete;

    /// The second of two layouts, for instance.
    static void lockGroup(unsigned group);
    /// Those and no others.
    static void lockModifiers(unsigned modifiers);
};

/// As the window manager says.
[[nodiscard]] std::vector<xcb_window_t> managedWindows();

[[nodiscard]] std::string textOfFile(const std::string& path);

} // namespace nimbe
