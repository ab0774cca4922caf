#include <atomic>
#include <cstdlib>
#include <string>
#include <unistd.h>

#include <gtest/gtest.h>

#include "Fakes/FakeLogSink.h"
#include "PlatformX11/XcbHotKeys.h"
#include "PlatformX11/XcbKeyEventSource.h"
#include "PlatformX11/XcbKeyPoster.h"
#include "PlatformX11/XcbWorkspace.h"
#include "TestDesktop.h"

namespace nimbe {
namespace {

/// All adapters of one display.
struct Adapters {
    FakeLogSink log;
    RunLoop actor;
    std::unique_ptr<XcbKeyEventSource> source = XcbKeyEventSource::connect(log);
    std::unique_ptr<XcbHotKeys> hotKeys = XcbHotKeys::connect(actor, log);
    std::unique_ptr<XcbWorkspace> workspace = XcbWorkspace::connect(actor, log);
    std::unique_ptr<XcbKeyPoster> poster = XcbKeyPoster::connect(log);
};

/// Another display for what is made meanwhile.
class OtherDisplay {
public:
    explicit OtherDisplay(const std::string& name) { ::setenv("DISPLAY", name.c_str(), 1); }
    ~OtherDisplay() { ::setenv("DISPLAY", before.c_str(), 1); }
    OtherDisplay(const OtherDisplay&) = delete;
    OtherDisplay& operator=(const OtherDisplay&) = delete;

private:
    std::string before = std::getenv("DISPLAY");
};

const std::string layouts = [] {
    const char* session = std::getenv("SESSION_KEYMAP");
    return std::string(session == nullptr ? "" : session);
}();

} // namespace

TEST(XcbFaultTest, withoutADisplayThereAreNoAdapters) {
    const OtherDisplay none(":987");
    const Adapters adapters;
    EXPECT_FALSE(adapters.source);
    EXPECT_FALSE(adapters.hotKeys);
    EXPECT_FALSE(adapters.workspace);
    EXPECT_FALSE(adapters.poster);
    EXPECT_TRUE(adapters.log.has(LogLevel::error, "no connection"));
}

TEST(XcbFaultTest, allFailQuietlyOnceTheServerHasGone) {
    // Its number is of no other server: the server refuses one that is in use.
    const std::string display = ":" + std::to_string(1000 + ::getpid() % 30000);
    RunningProgram server({"Xvfb", display, "-nolisten", "tcp", "-noreset"});
    const OtherDisplay other(display);
    ASSERT_TRUE(eventually([&] {
        auto* xcb = xcb_connect(nullptr, nullptr);
        const bool isThere = xcb_connection_has_error(xcb) == 0;
        xcb_disconnect(xcb);
        return isThere;
    }));
    Adapters adapters;
    ASSERT_TRUE(adapters.source && adapters.hotKeys && adapters.workspace && adapters.poster);
    const Shortcut chord{.control = true, .key = "d"};
    auto held = adapters.hotKeys->registerHotKey(chord, {});
    ASSERT_TRUE(held);
    auto monitor = adapters.source->monitor(KeyEventSource::Scope::otherApplications,
        KeyEventSource::Interest::both, [](const KeyEvent&) {});
    EXPECT_TRUE(adapters.source->isTrusted());
    EXPECT_TRUE(adapters.poster->isTrusted());
    EXPECT_TRUE(adapters.poster->post(PasteChord::standard));

    server.kill();
    EXPECT_TRUE(eventually(adapters.actor, [&] { return !adapters.source->isTrusted(); }));
    EXPECT_FALSE(adapters.poster->isTrusted());
    EXPECT_FALSE(adapters.poster->post(PasteChord::standard));
    EXPECT_FALSE(adapters.workspace->frontmostApplication());
    adapters.workspace->activate({.window = 1});
    const auto refused = adapters.hotKeys->registerHotKey({.control = true, .key = "e"}, {});
    ASSERT_FALSE(refused);
    EXPECT_EQ(refused.error(), HotKeyError::unavailable);
    const auto late = adapters.source->monitor(KeyEventSource::Scope::otherApplications,
        KeyEventSource::Interest::both, [](const KeyEvent&) {});
    held->reset();
    monitor.reset();
    adapters.source.reset(); // who wrote the line
    adapters.hotKeys.reset();
    adapters.workspace.reset();
    EXPECT_TRUE(adapters.log.has(LogLevel::error, "has gone"));
}

/// For a session without the extension.
TEST(XcbNoXtestTest, keysAreWatchedButNotSent) {
    Adapters adapters;
    EXPECT_TRUE(adapters.source->isTrusted());
    const auto monitor = adapters.source->monitor(KeyEventSource::Scope::otherApplications,
        KeyEventSource::Interest::both, [](const KeyEvent&) {});
    EXPECT_FALSE(adapters.poster->isTrusted());
    EXPECT_FALSE(adapters.poster->post(PasteChord::standard));
    EXPECT_TRUE(adapters.log.has(LogLevel::warning, "no XTEST"));
    EXPECT_TRUE(adapters.hotKeys->registerHotKey({.control = true, .key = "d"}, {}));
}

/// For a session without a window manager.
TEST(XcbBareServerTest, inFrontIsWhoHasTheKeyboard) {
    Adapters adapters;
    EXPECT_FALSE(adapters.workspace->frontmostApplication());
    const TestWindow first;
    const TestWindow second;
    adapters.workspace->activate({.window = first.id()});
    EXPECT_EQ(adapters.workspace->frontmostApplication()->window, first.id());
    adapters.workspace->activate({.window = second.id()});
    const auto front = adapters.workspace->frontmostApplication();
    ASSERT_TRUE(front);
    EXPECT_EQ(front->window, second.id());
    EXPECT_EQ(front->localizedName, "Probe");
    EXPECT_TRUE(adapters.workspace->isThisApplication(*front));
}

/// A window manager may call a window active that has not got the keyboard. Here the test
/// is the window manager.
TEST(XcbBareServerTest, theKeyboardDecidesNotTheWindowManager) {
    Adapters adapters;
    const auto manager = XcbLoop::connect(adapters.log, "manager");
    auto* xcb = manager->connection();
    const auto set = [&](xcb_window_t window, const char* name, xcb_atom_t type,
                         std::uint32_t value) {
        xcb_change_property(
            xcb, XCB_PROP_MODE_REPLACE, window, manager->atom(name), type, 32, 1, &value);
    };
    const TestWindow active;
    const TestWindow other;
    const TestWindow unmanaged;
    const auto child = xcb_generate_id(xcb);
    xcb_create_window(xcb, XCB_COPY_FROM_PARENT, child, active.id(), 0, 0, 10, 10, 0,
        XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT, 0, nullptr);
    xcb_map_window(xcb, child);
    set(active.id(), "WM_STATE", manager->atom("WM_STATE"), 1);
    set(other.id(), "WM_STATE", manager->atom("WM_STATE"), 1);
    set(manager->root(), "_NET_SUPPORTING_WM_CHECK", XCB_ATOM_WINDOW, other.id());
    set(manager->root(), "_NET_ACTIVE_WINDOW", XCB_ATOM_WINDOW, active.id());
    const struct {
        const char* why;
        xcb_window_t focus;
        xcb_window_t expected; // 0: none
    } cases[] = {
        {"the active one", active.id(), active.id()},
        {"a child of it", child, active.id()},
        {"another application", other.id(), other.id()},
        {"a window of no application", unmanaged.id(), 0},
        {"nobody", XCB_NONE, 0},
        {"whoever is under the pointer", XCB_INPUT_FOCUS_POINTER_ROOT, 0},
    };
    for (const auto& c : cases) {
        xcb_set_input_focus(xcb, XCB_INPUT_FOCUS_NONE, c.focus, XCB_CURRENT_TIME);
        const XcbPointer<xcb_get_input_focus_reply_t> done{
            xcb_get_input_focus_reply(xcb, xcb_get_input_focus(xcb), nullptr)};
        const auto front = adapters.workspace->frontmostApplication();
        EXPECT_EQ(front ? front->window : 0, c.expected) << c.why;
    }
    // The next test is without a window manager again.
    for (const auto* name : {"_NET_SUPPORTING_WM_CHECK", "_NET_ACTIVE_WINDOW"})
        xcb_delete_property(xcb, manager->root(), manager->atom(name));
    xcb_set_input_focus(xcb, XCB_INPUT_FOCUS_NONE, XCB_NONE, XCB_CURRENT_TIME);
    const XcbPointer<xcb_get_input_focus_reply_t> done{
        xcb_get_input_focus_reply(xcb, xcb_get_input_focus(xcb), nullptr)};
}

/// For sessions that begin in another layout.
TEST(XcbSessionLayoutTest, theLayoutIsKnownFromTheStart) {
    if (layouts == "us,ru") TestLayout::lockGroup(1);
    Adapters adapters;
    TestKeyboard keyboard;
    TestWindow window;
    ASSERT_TRUE(eventually([&] { return window.hasFocus(); }));
    ASSERT_TRUE(adapters.poster->post(PasteChord::standard));
    EXPECT_EQ(window.typed(), layouts == "ru" ? "+50 +118 -118 -50" : "+37 +55 -55 -37");

    std::atomic<int> functions = 0;
    std::atomic<int> options = 0;
    const auto monitor = adapters.source->monitor(KeyEventSource::Scope::otherApplications,
        KeyEventSource::Interest::flagsChanged, [&](const KeyEvent& event) {
            if (event.flags.function) ++functions;
            if (event.flags.option) ++options;
        });
    // It takes effect a moment later.
    ASSERT_TRUE(eventually([&] {
        keyboard.tap(key::leftAlt);
        return options > 0;
    }));
    options = 0;
    keyboard.tap(key::rightAlt);
    EXPECT_TRUE(eventually([&] { return options + functions > 0; }));
    EXPECT_EQ(functions, layouts == "de" ? 1 : 0);

    int downs = 0;
    const std::string key = layouts == "de" ? "udiaeresis" : layouts == "ru" ? "Cyrillic_ve" : "d";
    const auto held =
        adapters.hotKeys->registerHotKey({.control = true, .key = key}, {[&] { ++downs; }, {}});
    ASSERT_TRUE(held);
    constexpr xcb_keycode_t udiaeresis = 34;
    keyboard.chord({key::control, layouts == "de" ? udiaeresis : key::d});
    EXPECT_TRUE(eventually(adapters.actor, [&] { return downs == 1; }));
}

} // namespace nimbe
