#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "Fakes/FakeLogSink.h"
#include "PlatformX11/XcbHotKeys.h"
#include "PlatformX11/XcbKeyEventSource.h"
#include "PlatformX11/XcbKeyPoster.h"
#include "PlatformX11/XcbWorkspace.h"
#include "Support/Process.h"
#include "Support/TemporaryFolder.h"
#include "TestDesktop.h"

namespace nimbe {
namespace {

using enum PasteChord;

struct XcbKeyPosterTest : testing::Test {
    FakeLogSink log;
    TestKeyboard keyboard;
    std::unique_ptr<XcbKeyPoster> poster = XcbKeyPoster::connect(log);
};

/// A real editor with a file open and the keyboard in its text.
class Editor {
public:
    Editor(RunLoop& actor, const std::string& name)
        : actor(actor), file((folder.path / "text.txt").string()), program(command(name, file)),
          workspace(XcbWorkspace::connect(actor, log)) {}

    /// Types "a" until the file shows it: what comes too early is lost.
    [[nodiscard]] bool isReady(TestKeyboard& keyboard) {
        return eventually(actor, [&] {
            const auto front = workspace->frontmostApplication();
            return front && front->pid == program.pid();
        }) && eventually(actor, [&] {
            keyboard.chord({key::control, key::a}); // in place of an earlier one
            keyboard.tap(key::a);
            runFor(actor, 0.05);
            keyboard.chord({key::control, key::s});
            return eventually(
                actor, [&] { return text() == "a"; }, 1);
        });
    }
    /// Types a key, saves, and waits until the file has that text.
    [[nodiscard]] bool saves(TestKeyboard& keyboard, xcb_keycode_t last, const std::string& text) {
        keyboard.tap(last);
        runFor(actor, 0.05);
        keyboard.chord({key::control, key::s});
        return eventually(actor, [&] { return this->text() == text; });
    }
    /// One line: some end the text with a line of their own.
    [[nodiscard]] std::string text() const {
        auto text = textOfFile(file);
        std::erase(text, '\n');
        return text;
    }

private:
    RunLoop& actor;
    FakeLogSink log;
    TemporaryFolder folder;
    std::string file;
    RunningProgram program;
    std::unique_ptr<XcbWorkspace> workspace;

    static std::vector<std::string> command(const std::string& name, const std::string& file) {
        std::ofstream(file) << "";
        if (name == "mousepad") return {"mousepad", "--disable-server", file};
        return {"featherpad", "--standalone", file};
    }
};

/// Owns the clipboard with a text, as long as it lives.
class Clipboard {
public:
    explicit Clipboard(const std::string& text) : owner(command(text), lines()) {}

    /// Waits until a program has asked for the text, after so many times before.
    [[nodiscard]] bool isFetched(RunLoop& actor, long before) const {
        if (!eventually(actor, [&] { return requests() > before; })) return false;
        // For its forms first, then for one of them.
        for (long seen = 0; seen != requests(); runFor(actor, 0.2)) seen = requests();
        return true;
    }
    /// It says before each that it waits for it.
    [[nodiscard]] long requests() const {
        const auto text = textOfFile(lines());
        return std::count(text.begin(), text.end(), '\n');
    }

private:
    TemporaryFolder folder;
    RunningProgram owner;

    [[nodiscard]] std::string lines() const { return (folder.path / "lines").string(); }
    [[nodiscard]] std::vector<std::string> command(const std::string& text) const {
        const auto file = (folder.path / "text").string();
        std::ofstream(file) << text;
        return {"xclip", "-quiet", "-selection", "clipboard", file};
    }
};

} // namespace

TEST_F(XcbKeyPosterTest, typesTheChordOfTheLayout) {
    const struct {
        const char* layouts;
        unsigned group;
        PasteChord chord;
        const char* expected;
    } cases[] = {
        {"us", 0, standard, "+37 +55 -55 -37"},
        {"us", 0, terminal, "+37 +50 +55 -55 -50 -37"},
        {"us", 0, insert, "+50 +118 -118 -50"},
        {"us(dvorak)", 0, standard, "+37 +60 -60 -37"},
        {"us,ru", 1, standard, "+37 +55 -55 -37"},
        {"ru,us", 0, terminal, "+37 +50 +55 -55 -50 -37"},
        {"ru", 0, standard, "+50 +118 -118 -50"},
        {"ru", 0, terminal, "+50 +118 -118 -50"},
    };
    TestWindow window;
    ASSERT_TRUE(eventually([&] { return window.hasFocus(); }));
    std::string before;
    for (const auto& c : cases) {
        const auto why = std::string(c.layouts) + " " + std::to_string(c.group);
        const TestLayout layout(c.layouts);
        TestLayout::lockGroup(c.group);
        EXPECT_TRUE(poster->isTrusted()) << why; // asked before each delivery
        EXPECT_TRUE(poster->post(c.chord)) << why;
        const auto all = window.typed();
        EXPECT_EQ(all.substr(before.empty() ? 0 : before.size() + 1), c.expected) << why;
        before = all;
        // Its group is in each key event; afterwards it is as it was.
        const auto& got = window.keys();
        EXPECT_EQ(got[got.size() - 2].state >> 13, std::string(c.layouts) == "ru,us" ? 1 : 0)
            << why;
        keyboard.tap(key::a);
        EXPECT_EQ(window.keys().back().state >> 13, c.group) << why;
        before = window.typed();
    }
}

TEST_F(XcbKeyPosterTest, heldModifiersDoNotJoin) {
    TestWindow window;
    ASSERT_TRUE(eventually([&] { return window.hasFocus(); }));
    const auto stateOfV = [&] {
        for (auto at = window.keys().rbegin(); at != window.keys().rend(); ++at)
            if (at->isPress && at->code == key::v) return int{at->state};
        return -1;
    };
    const struct {
        const char* why;
        std::vector<xcb_keycode_t> held;
        int locks;
    } cases[] = {
        {"Alt", {key::leftAlt}, 0},
        {"both Alts", {key::leftAlt, key::rightAlt}, 0},
        {"all at once", {key::control, key::shift, key::super, key::leftAlt}, 0},
        {"v itself", {key::v}, 0},
        {"Caps Lock is on and stays on", {key::capsLock}, XCB_MOD_MASK_LOCK},
    };
    for (const auto& c : cases) {
        for (const auto code : c.held) keyboard.press(code);
        EXPECT_TRUE(poster->post(standard));
        EXPECT_EQ(stateOfV(), XCB_MOD_MASK_CONTROL | c.locks) << c.why << ": " << window.typed();
        for (const auto code : c.held) {
            EXPECT_FALSE(keyboard.isDown(code)) << c.why;
            keyboard.release(code);
        }
    }
    keyboard.tap(key::capsLock);
    keyboard.press(key::a);
    EXPECT_TRUE(poster->post(standard));
    EXPECT_FALSE(keyboard.isDown(key::a)) << "another key";
}

TEST_F(XcbKeyPosterTest, altGrDoesNotJoin) {
    const TestLayout german("de");
    TestWindow window;
    ASSERT_TRUE(eventually([&] { return window.hasFocus(); }));
    keyboard.press(key::rightAlt);
    EXPECT_TRUE(poster->post(standard));
    EXPECT_EQ(window.typed(), "+108 -108 +37 +55 -55 -37");
    EXPECT_EQ(window.keys()[3].state, XCB_MOD_MASK_CONTROL);
}

/// Whoever has a chord grabbed gets all keys until its key is let go: what is dictated would
/// go to the program whose chord has ended the dictation.
TEST_F(XcbKeyPosterTest, aChordThatIsStillHeldDoesNotSwallowIt) {
    RunLoop actor;
    TestWindow window;
    ASSERT_TRUE(eventually([&] { return window.hasFocus(); }));
    auto hotKeys = XcbHotKeys::connect(actor, log);
    std::string calls;
    const auto token =
        hotKeys->registerHotKey({.control = true, .key = "d"}, {[&] { calls += 'd'; },
                                                                   [&] {
                                                                       calls += 'u';
                                                                   }});
    ASSERT_TRUE(token);
    for (const auto device : {TestKeyboard::Device::own, TestKeyboard::Device::xtest}) {
        TestKeyboard users(device);
        users.press(key::control);
        users.press(key::d);
        ASSERT_TRUE(eventually(actor, [&] { return calls == "d"; }));
        EXPECT_TRUE(poster->post(standard));
        EXPECT_TRUE(window.typed().ends_with("+37 +55 -55 -37")) << window.typed();
        EXPECT_TRUE(eventually(actor, [&] { return calls == "du"; })) << calls;
        users.release(key::d);
        users.release(key::control);
        users.chord({key::control, key::d});
        EXPECT_TRUE(eventually(actor, [&] { return calls == "dudu"; })) << calls;
        calls.clear();
    }
}

/// The layout of the user's keyboard need not be that of the one on which programs type,
/// and the display has that of the one that typed last.
TEST_F(XcbKeyPosterTest, typesInTheLayoutOfItsOwnKeyboard) {
    TestKeyboard users(TestKeyboard::Device::own);
    const TestLayout reset("us");
    ASSERT_EQ(
        Process::run(
            {"/usr/bin/setxkbmap", "-device", std::to_string(users.number()), "us(dvorak)"}, {})
            .exitCode,
        0);
    TestWindow window;
    ASSERT_TRUE(eventually([&] { return window.hasFocus(); }));
    for (int turn = 0; turn < 2; ++turn) {
        users.tap(key::a);
        users.press(key::leftAlt);
        const auto before = window.typed().size() + 1;
        EXPECT_TRUE(poster->post(standard));
        EXPECT_EQ(window.typed().substr(before), "-64 +37 +55 -55 -37");
        EXPECT_EQ(window.keys().back().state, XCB_MOD_MASK_CONTROL);
        users.release(key::leftAlt);
        EXPECT_FALSE(users.isDown(key::leftAlt));
    }
    users.tap(key::a);
    EXPECT_EQ(window.keys().back().state, 0) << "no modifier is left down";
}

/// The text arrives in real programs.
TEST_F(XcbKeyPosterTest, pastesIntoEditors) {
    const struct {
        const char* layouts;
        unsigned group;
        bool capsLock;
    } cases[] = {{"us", 0, true}, {"us,ru", 1, false}, {"ru,us", 0, false}, {"ru", 0, false}};
    const Clipboard clipboard("Grüße ✓");
    RunLoop actor;
    for (const std::string editor : {"mousepad", "featherpad"}) {
        Editor program(actor, editor);
        ASSERT_TRUE(program.isReady(keyboard)) << editor;
        std::string expected = "a";
        for (const auto& c : cases) {
            {
                const TestLayout layout(c.layouts);
                TestLayout::lockGroup(c.group);
                if (c.capsLock) keyboard.tap(key::capsLock);
                const auto before = clipboard.requests();
                EXPECT_TRUE(poster->post(standard));
                EXPECT_TRUE(clipboard.isFetched(actor, before)) << editor << " " << c.layouts;
                if (c.capsLock) keyboard.tap(key::capsLock);
            }
            expected += "Grüße ✓x";
            EXPECT_TRUE(program.saves(keyboard, key::x, expected))
                << editor << " " << c.layouts << ": " << program.text();
        }
    }
}

/// Letting go of Alt opens the menu bar of some programs, and what is typed then is lost.
TEST_F(XcbKeyPosterTest, altAloneLeavesTheKeyboardInTheText) {
    const Clipboard clipboard("dictated");
    RunLoop actor;
    for (const std::string editor : {"featherpad", "mousepad"}) {
        for (const bool isMasked : {false, true}) {
            auto source = XcbKeyEventSource::connect(log);
            int told = 0;
            const auto token = isMasked ? source->monitor(KeyEventSource::Scope::otherApplications,
                                              KeyEventSource::Interest::flagsChanged,
                                              [&](const KeyEvent&) { ++told; })
                                        : Token();
            Editor program(actor, editor);
            ASSERT_TRUE(program.isReady(keyboard)) << editor;
            const auto hold = [&](Seconds time) {
                keyboard.press(key::leftAlt);
                runFor(actor, time);
                keyboard.release(key::leftAlt);
                runFor(actor, 0.1);
            };
            std::string expected = "a";
            // This one pastes from within its menu bar too, but it does not type there.
            const auto paste = [&](const char* why, bool opensMenu) {
                keyboard.tap(key::d);
                const auto before = clipboard.requests();
                EXPECT_TRUE(poster->post(standard));
                EXPECT_TRUE(clipboard.isFetched(actor, before)) << editor << ", " << why;
                keyboard.tap(key::escape); // out of a menu
                keyboard.tap(key::escape);
                runFor(actor, 0.1);
                const bool isInMenu = opensMenu && !isMasked && editor == "featherpad";
                expected += isInMenu ? "dictatedx" : "ddictatedx";
                EXPECT_TRUE(program.saves(keyboard, key::x, expected))
                    << editor << (isMasked ? " masked, " : ", ") << why << ": " << program.text();
            };
            hold(0.5);
            paste("held", true);
            hold(0.08);
            hold(0.08);
            paste("double tap: into the menu bar, out of it", false);
            hold(0.08);
            paste("the tap that ends it", true);
            source.reset();
            EXPECT_EQ(told > 0, isMasked);
        }
    }
}

} // namespace nimbe
