#include <optional>
#include <string>
#include <xcb/xcb.h>

#include <gtest/gtest.h>

#include "Fakes/FakeLogSink.h"
#include "PlatformX11/XcbHotKeys.h"
#include "TestDesktop.h"

namespace nimbe {
namespace {

/// Another program that wants the same chord.
/// The server may come to its request before our last one.
class OtherProgram {
public:
    OtherProgram() : loop(XcbLoop::connect(log, "other")) {}

    [[nodiscard]] bool grab(xcb_keycode_t key, std::uint16_t modifiers) {
        const XcbPointer<xcb_generic_error_t> error{xcb_request_check(
            loop->connection(), xcb_grab_key_checked(loop->connection(), 0, loop->root(), modifiers,
                                    key, XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC))};
        return !error;
    }
    void letGo() {
        const XcbPointer<xcb_generic_error_t> error{xcb_request_check(
            loop->connection(), xcb_ungrab_key_checked(loop->connection(), XCB_GRAB_ANY,
                                    loop->root(), XCB_MOD_MASK_ANY))};
    }

private:
    FakeLogSink log;
    std::unique_ptr<XcbLoop> loop;
};

constexpr std::uint16_t control = XCB_MOD_MASK_CONTROL;
constexpr std::uint16_t alt = XCB_MOD_MASK_1;

struct XcbHotKeysTest : testing::Test {
    FakeLogSink log;
    RunLoop actor;
    TestKeyboard keyboard;
    std::string calls; // d and u
    std::unique_ptr<XcbHotKeys> hotKeys = XcbHotKeys::connect(actor, log);
    const Shortcut chord{.control = true, .option = true, .key = "d"};

    HotKeys::Handlers handlers() {
        return {[this] { calls += 'd'; },
            [this] {
                calls += 'u';
            }};
    }
    Token take(const Shortcut& shortcut) {
        auto token = hotKeys->registerHotKey(shortcut, handlers());
        EXPECT_TRUE(token) << shortcut.text();
        return token ? *token : Token();
    }
    std::optional<HotKeyError> refusal(const Shortcut& shortcut) {
        const auto token = hotKeys->registerHotKey(shortcut, handlers());
        return token ? std::nullopt : std::optional(token.error());
    }
    /// All calls of what was typed; the chord of a second registration is their end.
    std::string called() {
        bool isEnd = false;
        const auto end = hotKeys->registerHotKey(
            {.control = true, .command = true, .key = "j"}, {{}, [&] {
                                                                 isEnd = true;
                                                             }});
        EXPECT_TRUE(end);
        keyboard.chord({key::control, key::super, key::j});
        EXPECT_TRUE(eventually(actor, [&] { return isEnd; }));
        return std::exchange(calls, {});
    }
};

} // namespace

TEST_F(XcbHotKeysTest, eachPressHasOneReleaseWhicheverKeyGoesFirst) {
    const auto token = take(chord);
    struct Case {
        const char* why;
        std::vector<int> steps;
        const char* expected;
    };
    const Case cases[] = {
        {"the key goes first", {37, 64, 40, -40, -64, -37}, "du"},
        {"Alt goes first", {37, 64, 40, -64, -40, -37}, "du"},
        {"Control goes first", {64, 37, 40, -37, -64, -40}, "du"},
        {"Alt comes back while the key is down", {37, 64, 40, -64, 64, -64, -40, -37}, "du"},
        {"the key again", {37, 64, 40, -40, 40, -40, -64, -37}, "dudu"},
        {"another key meanwhile", {37, 64, 40, 38, -38, -40, -64, -37}, "du"},
        {"a modifier too many", {37, 64, 50, 40, -40, -50, -64, -37}, ""},
        {"a modifier too few", {37, 40, -40, -37}, ""},
        {"with Num Lock and Caps Lock on", {77, -77, 66, -66, 37, 64, 40, -40, -64, -37}, "du"},
        {"with Caps Lock", {77, -77, 37, 64, 40, -40, -64, -37}, "du"},
        {"with Num Lock", {77, -77, 66, -66, 37, 64, 40, -40, -64, -37}, "du"},
        {"without", {77, -77, 37, 64, 40, -40, -64, -37}, "du"},
    };
    for (const auto& c : cases) {
        for (const int step : c.steps) {
            if (step > 0)
                keyboard.press(static_cast<xcb_keycode_t>(step));
            else
                keyboard.release(static_cast<xcb_keycode_t>(-step));
        }
        EXPECT_EQ(called(), c.expected) << c.why;
    }
}

TEST_F(XcbHotKeysTest, aHeldChordDoesNotRepeat) {
    const auto token = take(chord);
    keyboard.press(key::control);
    keyboard.press(key::leftAlt);
    keyboard.press(key::d);
    runFor(actor, 1.0); // the server repeats after 0.66 s, every 0.04 s
    EXPECT_EQ(calls, "d");
    keyboard.release(key::leftAlt);
    runFor(actor, 0.2);
    EXPECT_EQ(calls, "du");
    keyboard.press(key::leftAlt); // the whole chord again, but d is as it was
    runFor(actor, 1.0);
    EXPECT_EQ(calls, "du");
    keyboard.release(key::leftAlt);
    keyboard.release(key::d);
    keyboard.release(key::control);
    EXPECT_EQ(called(), "du");
}

TEST_F(XcbHotKeysTest, othersDoNotSeeTheKeyUntilTheTokenIsDropped) {
    TestWindow window;
    ASSERT_TRUE(eventually(actor, [&] { return window.hasFocus(); }));
    auto token = take(chord);
    keyboard.chord({key::control, key::leftAlt, key::d});
    EXPECT_EQ(called(), "du");
    EXPECT_EQ(window.typed().find("+40"), std::string::npos) << window.typed();
    token.reset();
    keyboard.chord({key::control, key::leftAlt, key::d});
    EXPECT_EQ(called(), "");
    EXPECT_NE(window.typed().find("+40"), std::string::npos) << window.typed();
}

TEST_F(XcbHotKeysTest, aChordBelongsToOne) {
    OtherProgram other;
    // One of the four would do: Num Lock on.
    ASSERT_TRUE(other.grab(key::d, control | alt | XCB_MOD_MASK_2));
    EXPECT_EQ(refusal(chord), HotKeyError::taken);
    other.letGo();
    ASSERT_TRUE(eventually([&] { return other.grab(key::d, control | alt); }))
        << "what was refused is not kept";
    EXPECT_EQ(refusal(chord), HotKeyError::taken);
    other.letGo();
    {
        const auto token = take(chord);
        EXPECT_EQ(refusal(chord), HotKeyError::taken) << "by this program itself";
        EXPECT_FALSE(other.grab(key::d, control | alt));
        keyboard.chord({key::control, key::leftAlt, key::d});
        EXPECT_EQ(called(), "du") << "a refusal leaves the first in place";
    }
    EXPECT_TRUE(eventually([&] { return other.grab(key::d, control | alt); }));
}

TEST_F(XcbHotKeysTest, saysWhatNoKeyGives) {
    const struct {
        const char* why;
        Shortcut shortcut;
    } cases[] = {
        {"no such keysym", {.control = true, .key = "nonsense"}},
        {"none of this layout", {.control = true, .key = "adiaeresis"}},
        {"only with Shift", {.control = true, .key = "D"}},
        {"a modifier", {.control = true, .key = "Alt_L"}},
        {"nothing", {.control = true, .key = ""}},
    };
    for (const auto& c : cases) EXPECT_EQ(refusal(c.shortcut), HotKeyError::unknownKey) << c.why;
}

TEST_F(XcbHotKeysTest, followsTheLayout) {
    const Shortcut z{.control = true, .option = true, .key = "z"};
    constexpr xcb_keycode_t yOfUs = 29;
    constexpr xcb_keycode_t zOfUs = 52;
    const auto token = take(z);
    OtherProgram other;
    {
        const TestLayout german("de");
        // The chord has moved when its old place is free.
        ASSERT_TRUE(eventually(actor, [&] { return other.grab(zOfUs, control | alt); }));
        keyboard.chord({key::control, key::leftAlt, yOfUs});
        EXPECT_EQ(called(), "du");
        keyboard.chord({key::control, key::leftAlt, zOfUs});
        EXPECT_EQ(called(), "");
        const auto umlaut = take({.control = true, .option = true, .key = "adiaeresis"});
    }
    // Back again, its place is taken now; it waits until it is free.
    ASSERT_TRUE(eventually(actor, [&] { return other.grab(yOfUs, control | alt); }));
    keyboard.chord({key::control, key::leftAlt, zOfUs});
    EXPECT_EQ(called(), "");
    EXPECT_TRUE(log.has(LogLevel::warning, "shortcut"));
    other.letGo();
    const TestLayout again("us");
    EXPECT_TRUE(eventually(actor, [&] {
        keyboard.chord({key::control, key::leftAlt, zOfUs});
        return called() == "du";
    }));
}

TEST_F(XcbHotKeysTest, worksInALayoutWithoutItsLetter) {
    const TestLayout both("us,ru");
    const auto token = take(chord);
    TestLayout::lockGroup(1);
    keyboard.chord({key::control, key::leftAlt, key::d});
    EXPECT_EQ(called(), "du");
    const auto later = take({.command = true, .key = "s"});
    keyboard.chord({key::super, key::s});
    EXPECT_EQ(called(), "du");
}

TEST_F(XcbHotKeysTest, aHandlerMayDropItsToken) {
    std::optional<Token> token;
    auto registered = hotKeys->registerHotKey(chord, {[&] {
                                                          calls += 'd';
                                                          token.reset();
                                                      },
                                                         [&] {
                                                             calls += 'u';
                                                         }});
    ASSERT_TRUE(registered);
    token = std::move(*registered);
    registered = failure(HotKeyError::taken); // no other holds it
    keyboard.chord({key::control, key::leftAlt, key::d});
    EXPECT_EQ(called(), "d") << "nothing comes after that, no release either";
}

TEST_F(XcbHotKeysTest, tokensMayOutliveIt) {
    auto token = take(chord);
    keyboard.chord({key::control, key::leftAlt, key::d});
    hotKeys.reset();
    runFor(actor, 0.01);
    EXPECT_EQ(calls, "") << "posted before, but not heard after";
    token.reset();
    OtherProgram other;
    EXPECT_TRUE(eventually([&] { return other.grab(key::d, control | alt); }));
}

} // namespace nimbe
