#include <algorithm>
#include <mutex>
#include <set>
#include <string>
#include <vector>
#include <xcb/xcb.h>

#include <gtest/gtest.h>

#include "Fakes/FakeLogSink.h"
#include "PlatformX11/XcbKeyEventSource.h"
#include "Support/Process.h"
#include "TestDesktop.h"

namespace nimbe {
namespace {

using Interest = KeyEventSource::Interest;
using Scope = KeyEventSource::Scope;

/// What came, in short: k a key; else the modifiers that are down, "-" for none: o option,
/// m command, c control, s shift, f function, L Caps Lock on.
class Heard {
public:
    KeyEventSource::Handler handler() {
        return [this](const KeyEvent& event) {
            const std::lock_guard guard(mutex);
            if (!text.empty()) text += ' ';
            text += event.kind == KeyEvent::Kind::keyDown ? "k" : inShort(event.flags);
        };
    }
    std::string all() {
        const std::lock_guard guard(mutex);
        return text;
    }
    void clear() {
        const std::lock_guard guard(mutex);
        text.clear();
    }

private:
    std::mutex mutex;
    std::string text;

    static std::string inShort(const ModifierFlags& flags) {
        std::string result;
        if (flags.option) result += 'o';
        if (flags.command) result += 'm';
        if (flags.control) result += 'c';
        if (flags.shift) result += 's';
        if (flags.function) result += 'f';
        if (flags.capsLock) result += 'L';
        return result.empty() ? "-" : result;
    }
};

struct XcbKeyEventSourceTest : testing::Test {
    FakeLogSink log;
    TestKeyboard keyboard;
    Heard heard;
    std::unique_ptr<XcbKeyEventSource> source = XcbKeyEventSource::connect(log);
    Token flags;
    Token keys;

    void SetUp() override {
        ASSERT_TRUE(source);
        ASSERT_TRUE(source->isTrusted());
        flags = source->monitor(Scope::otherApplications, Interest::flagsChanged, heard.handler());
        keys = source->monitor(Scope::otherApplications, Interest::keyDown, heard.handler());
        // It takes effect a moment later.
        ASSERT_TRUE(eventually([&] {
            keyboard.tap(key::shift);
            return !heard.all().empty();
        }));
        marked();
    }
    const std::set<int> modifierKeys{37, 50, 64, 66, 77, 108, 133};

    /// Waits until all that was typed has come, `keysTyped` keys among it, and forgets it.
    /// What it was.
    std::string marked(long keysTyped = 0) {
        // A key of no other use here; when it has come, so has all before.
        keyboard.tap(key::j);
        const auto keysHeard = [&] {
            const auto text = heard.all();
            return std::count(text.begin(), text.end(), 'k');
        };
        if (!eventually([&] { return keysHeard() > keysTyped; })) return "no end: " + heard.all();
        auto text = heard.all();
        heard.clear();
        text.resize(text.size() - 1);
        return text.ends_with(' ') ? text.substr(0, text.size() - 1) : text;
    }
    /// "+64 -64": presses and releases.
    std::string type(const std::vector<int>& steps) {
        long keysTyped = 0;
        for (const int step : steps) {
            if (step > 0)
                keyboard.press(static_cast<xcb_keycode_t>(step));
            else
                keyboard.release(static_cast<xcb_keycode_t>(-step));
            if (step > 0 && !modifierKeys.contains(step)) ++keysTyped;
        }
        return marked(keysTyped);
    }
};

} // namespace

TEST_F(XcbKeyEventSourceTest, tellsOfModifiersAndOtherKeys) {
    struct Case {
        const char* why;
        std::vector<int> steps;
        const char* expected;
    };
    const Case cases[] = {
        {"left Alt", {64, -64}, "o -"},
        {"right Alt", {108, -108}, "o -"},
        {"of both only the last lets go", {64, 108, -64, -108}, "o -"},
        {"Super is command", {133, -133}, "m -"},
        {"each modifier of a chord", {64, 37, 50, -50, -37, -64}, "o oc ocs oc o -"},
        {"a key with Alt", {64, 38, -38, -64}, "o k -"},
        {"modifiers are no keys", {50, 37, -37, -50}, "s cs s -"},
        {"Num Lock never counts", {77, -77, 64, -64, 77, -77}, "o -"},
        {"nor while it is held", {77, 64, -64, -77, 77, -77}, "o -"},
        {"Caps Lock is on until the next time", {66, -66, 64, -64, 66, -66}, "L oL L -"},
        {"keys in a row", {38, 40, -38, -40, 39, -39}, "k k k"},
    };
    for (const auto& c : cases) EXPECT_EQ(type(c.steps), c.expected) << c.why;
}

TEST_F(XcbKeyEventSourceTest, lockedModifiersAreNotHeld) {
    TestLayout::lockModifiers(XCB_MOD_MASK_SHIFT | XCB_MOD_MASK_1);
    EXPECT_EQ(type({64, -64}), "o -");
    TestLayout::lockModifiers(0);
    EXPECT_EQ(type({64, -64}), "o -");
}

TEST_F(XcbKeyEventSourceTest, aHeldKeyComesOnce) {
    TestWindow window;
    ASSERT_TRUE(eventually([&] { return window.hasFocus(); }));
    const auto repeats = [&] {
        const auto& got = window.keys();
        return std::count_if(got.begin(), got.end(),
            [](const auto& key) { return key.isPress && key.code == key::a; });
    };
    keyboard.press(key::a);
    ASSERT_TRUE(eventually([&] { return repeats() > 5; })) << "the server repeats";
    keyboard.release(key::a);
    EXPECT_EQ(marked(1), "k");

    keyboard.press(key::leftAlt);
    RunLoop user;
    runFor(user, 0.8); // past the server's delay of 0.66 s
    keyboard.release(key::leftAlt);
    EXPECT_EQ(marked(), "o -");
}

TEST_F(XcbKeyEventSourceTest, hearsUnderTheGrabOfAnotherProgram) {
    TestWindow window;
    auto* xcb = window.connection();
    ASSERT_TRUE(eventually([&] { return window.isViewable(); }));
    const XcbPointer<xcb_grab_keyboard_reply_t> grab{xcb_grab_keyboard_reply(xcb,
        xcb_grab_keyboard(
            xcb, 0, window.id(), XCB_CURRENT_TIME, XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC),
        nullptr)};
    ASSERT_TRUE(grab);
    ASSERT_EQ(grab->status, XCB_GRAB_STATUS_SUCCESS);
    EXPECT_EQ(type({64, 38, -38, -64}), "o k -");
}

TEST_F(XcbKeyEventSourceTest, followsTheLayout) {
    {
        const TestLayout german("de");
        EXPECT_EQ(type({108, -108}), "f -") << "AltGr is not Alt";
        EXPECT_EQ(type({64, 108, -108, -64}), "o of o -");
    }
    EXPECT_EQ(type({108, -108}), "o -");
    ASSERT_EQ(
        Process::run({"/usr/bin/setxkbmap", "us", "-option", "altwin:swap_alt_win"}, {}).exitCode,
        0);
    EXPECT_EQ(type({64, -64, 133, -133}), "m - o -");
    ASSERT_EQ(Process::run({"/usr/bin/setxkbmap", "us", "-option", ""}, {}).exitCode, 0);
    EXPECT_EQ(type({64, -64}), "o -");
}

TEST_F(XcbKeyEventSourceTest, losesNoneOfManyPresses) {
    std::string expected;
    for (int i = 0; i < 500; ++i) {
        keyboard.tap(key::a);
        keyboard.tap(key::leftAlt);
        expected += i == 0 ? "k o -" : " k o -";
    }
    EXPECT_TRUE(marked(500) == expected);
}

TEST_F(XcbKeyEventSourceTest, tellsOnlyWhoIsInterestedAndThere) {
    Heard own;
    Heard both;
    const auto ownToken = source->monitor(Scope::ownWindows, Interest::both, own.handler());
    auto bothToken = source->monitor(Scope::otherApplications, Interest::both, both.handler());
    EXPECT_EQ(type({64, 38, -38, -64}), "o k -");
    EXPECT_EQ(both.all(), "o k - k");
    EXPECT_EQ(own.all(), "");
    bothToken.reset();
    both.clear();
    EXPECT_EQ(type({64, 38, -38, -64}), "o k -");
    EXPECT_EQ(both.all(), "");
    keys.reset();
    keyboard.chord({key::leftAlt, key::a});
    EXPECT_TRUE(eventually([&] { return heard.all() == "o -"; })) << heard.all();
}

/// What a program in front sees of it.
TEST_F(XcbKeyEventSourceTest, masksAltAloneAndNothingElse) {
    TestWindow window;
    ASSERT_TRUE(eventually([&] { return window.hasFocus(); }));
    const auto masks = [&] {
        int count = 0;
        for (const auto& key : window.keys())
            if (key.isPress && key.code > 200) {
                EXPECT_EQ(key.state & XCB_MOD_MASK_1, XCB_MOD_MASK_1) << "Alt is down";
                ++count;
            }
        return count;
    };
    struct Case {
        const char* why;
        std::vector<int> before;
        std::vector<int> alt; // one is pressed
        int expected;
    };
    const Case cases[] = {
        {"alone", {}, {64}, 1},
        {"again", {-64}, {64}, 1},
        {"the second Alt", {}, {108}, 0},
        {"the other Alt", {-64, -108}, {108}, 1},
        {"with Num Lock on", {-108, 77, -77}, {64}, 1},
        {"with Caps Lock on", {-64, 66, -66}, {64}, 1},
        {"Control came first", {-64, 77, -77, 66, -66, 37}, {64}, 0},
        {"Control lets go first: Alt went down with it", {}, {-37}, 0},
        {"no Alt", {-64}, {133}, 0},
    };
    int expected = 0;
    for (const auto& c : cases) {
        type(c.before);
        EXPECT_EQ(type(c.alt).find('k'), std::string::npos) << c.why;
        expected += c.expected;
        EXPECT_TRUE(eventually([&] { return masks() >= expected; })) << c.why;
        type(c.alt == std::vector{133} ? std::vector{-133} : std::vector<int>{});
        EXPECT_EQ(masks(), expected) << c.why << ": " << window.typed();
    }
    flags.reset();
    keys.reset();
    source = XcbKeyEventSource::connect(log);
    keys = source->monitor(Scope::otherApplications, Interest::keyDown, heard.handler());
    ASSERT_TRUE(eventually([&] {
        keyboard.tap(key::shift);
        keyboard.tap(key::a);
        return !heard.all().empty();
    }));
    heard.clear();
    type({64, -64});
    EXPECT_EQ(masks(), expected) << "nobody monitors flags";
}

/// The tap comes from another keyboard than Alt, with a keymap of its own, which then is
/// the display's until the user's next key.
TEST_F(XcbKeyEventSourceTest, masksTheAltOfTheUsersOwnKeyboard) {
    TestKeyboard users(TestKeyboard::Device::own);
    TestWindow window;
    ASSERT_TRUE(eventually([&] { return window.hasFocus(); }));
    const TestLayout reset("us");
    for (const auto* layout : {"us", "de", "ru"}) {
        ASSERT_EQ(Process::run(
                      {"/usr/bin/setxkbmap", "-device", std::to_string(users.number()), layout}, {})
                      .exitCode,
            0);
        for (int turn = 0; turn < 3; ++turn) {
            users.tap(key::a);
            const auto before = window.keys().size();
            users.press(key::leftAlt);
            ASSERT_TRUE(eventually([&] { return window.keys().size() >= before + 3; }));
            users.release(key::leftAlt);
            const auto& got = window.keys();
            ASSERT_EQ(got.size(), before + 4) << layout << ": " << window.typed();
            EXPECT_GT(got[before + 1].code, 200);
            EXPECT_EQ(got[before + 1].state & 0xff, XCB_MOD_MASK_1);
            EXPECT_EQ(got[before + 3].code, key::leftAlt);
            EXPECT_EQ(marked(1), "k o -") << layout;
        }
    }
}

/// Somebody else gives the key of the mask a meaning.
TEST_F(XcbKeyEventSourceTest, findsAnotherKeyForTheMask) {
    TestWindow window;
    ASSERT_TRUE(eventually([&] { return window.hasFocus(); }));
    const auto tappedFor = [&](std::size_t before) {
        xcb_keycode_t code = 0;
        EXPECT_EQ(type({64, -64}), "o -");
        EXPECT_TRUE(eventually([&] {
            const auto& got = window.keys();
            for (auto at = before; at < got.size(); ++at)
                if (got[at].isPress && got[at].code > 200) code = got[at].code;
            return code != 0;
        }));
        return code;
    };
    const auto giveMeaning = [](xcb_keycode_t code) {
        return Process::run(
                   {"/usr/bin/xmodmap", "-e", "keycode " + std::to_string(code) + " = F20"}, {})
                   .exitCode == 0;
    };
    const auto first = tappedFor(0);
    ASSERT_TRUE(giveMeaning(first));
    const auto second = tappedFor(window.keys().size());
    EXPECT_NE(second, first);
    // Its taps might have been on the way so far: it counts after the next change.
    ASSERT_TRUE(giveMeaning(second));
    EXPECT_NE(tappedFor(window.keys().size()), second);
    EXPECT_EQ(type({first, -first}), "k");

    const TestLayout plain("us"); // takes the meanings away again
    EXPECT_EQ(type({64, -64}), "o -");
}

} // namespace nimbe
