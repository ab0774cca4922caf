#include <gtest/gtest.h>

#include "Fakes/FakeHotKeys.h"
#include "Fakes/FakeLogSink.h"
#include "Fakes/MemoryUserDefaults.h"
#include "KeyboardShortcuts/KeyboardShortcuts.h"

namespace nimbe {
namespace {

using Kind = ShortcutError::Kind;

Shortcut chord(const char* text) {
    return Shortcut::parse(text).value();
}
const auto key = "KeyboardShortcuts_talk";
const auto ctrlAltD = chord("Ctrl+Alt+d");
const auto f9 = chord("F9");

struct KeyboardShortcutsTest : testing::Test {
    FakeHotKeys hotKeys;
    MemoryUserDefaults defaults;
    FakeLogSink log;
    std::unique_ptr<KeyboardShortcuts> shortcuts = create();
    std::string calls; // of the handlers: d and u
    int changes = 0;
    Token watch = shortcuts->observeChanges([this] { ++changes; });

    std::unique_ptr<KeyboardShortcuts> create() {
        return std::make_unique<KeyboardShortcuts>(hotKeys, defaults, log);
    }
    void handle(const char* name = "talk") {
        shortcuts->handle(name, {[this] { calls += 'd'; },
                                    [this] {
                                        calls += 'u';
                                    }});
    }
    void store(const char* text, const char* name = "talk") {
        ASSERT_TRUE(defaults.setValue("KeyboardShortcuts_" + std::string(name), std::string(text)));
    }
    [[nodiscard]] std::string stored() {
        const auto value = defaults.value(key).value();
        return value ? std::get<std::string>(*value) : "nothing";
    }
    std::optional<Kind> record(const Shortcut& shortcut, const char* name = "talk") {
        const auto outcome = shortcuts->record(name, shortcut);
        return outcome ? std::nullopt : std::optional(outcome.error().kind);
    }
};

} // namespace

TEST_F(KeyboardShortcutsTest, whatIsStoredIsRegisteredAndRecordedInItsPlace) {
    store("Ctrl+Alt+d");
    handle();
    EXPECT_EQ(shortcuts->shortcut("talk"), ctrlAltD);
    EXPECT_TRUE(hotKeys.press(ctrlAltD));
    EXPECT_TRUE(hotKeys.press(ctrlAltD)) << "once more, as a key repeats";
    EXPECT_TRUE(hotKeys.release(ctrlAltD));
    EXPECT_TRUE(hotKeys.release(ctrlAltD));
    EXPECT_EQ(calls, "du");
    EXPECT_EQ(changes, 0);

    EXPECT_EQ(record(f9), std::nullopt);
    EXPECT_EQ(changes, 1);
    EXPECT_EQ(stored(), "F9");
    EXPECT_FALSE(hotKeys.press(ctrlAltD));
    EXPECT_TRUE(hotKeys.press(f9));
    EXPECT_EQ(record(f9), std::nullopt) << "the same again";
    EXPECT_EQ(calls, "dudu") << "it was down";
    EXPECT_EQ(hotKeys.registeredCount(), 1U);

    defaults.refusesWrites = true;
    EXPECT_FALSE(shortcuts->clear("talk"));
    EXPECT_TRUE(hotKeys.isRegistered(f9));
    defaults.refusesWrites = false;
    EXPECT_TRUE(shortcuts->clear("talk"));
    EXPECT_EQ(changes, 3);
    EXPECT_EQ(stored(), "nothing");
    EXPECT_EQ(hotKeys.registeredCount(), 0U);
}

TEST_F(KeyboardShortcutsTest, whatCannotBeRecordedLeavesAllAsBefore) {
    store("Ctrl+Alt+d");
    store("Alt+o", "other");
    handle();
    handle("other");
    hotKeys.refusals = {{"F1", HotKeyError::taken}, {"F2", HotKeyError::unknownKey},
        {"F3", HotKeyError::unavailable}};
    struct Case {
        const char* chord;
        bool isDiskFull;
        Kind expected;
    };
    const Case cases[] = {
        {"d", false, Kind::needsModifier},
        {"Ctrl+Super_L", false, Kind::modifierOnly},
        {"Alt+o", false, Kind::usedHere},
        {"F1", false, Kind::taken},
        {"F2", false, Kind::unknownKey},
        {"F3", false, Kind::unavailable},
        {"F4", true, Kind::notStored},
        {"Ctrl+Alt+d", true, Kind::notStored},
    };
    for (const auto& c : cases) {
        defaults.refusesWrites = c.isDiskFull;
        EXPECT_EQ(record(chord(c.chord)), c.expected) << c.chord;
        EXPECT_EQ(stored(), "Ctrl+Alt+d") << c.chord;
        EXPECT_TRUE(hotKeys.isRegistered(ctrlAltD)) << c.chord;
        EXPECT_EQ(hotKeys.registeredCount(), 2U) << c.chord;
        EXPECT_EQ(shortcuts->problem("talk"), std::nullopt) << c.chord;
    }
    EXPECT_EQ(changes, 0);

    // Somebody takes the chord in the moment in which it is free.
    hotKeys.refusals.emplace("Ctrl+Alt+d", HotKeyError::taken);
    defaults.refusesWrites = false;
    EXPECT_EQ(record(chord("F1")), Kind::taken);
    EXPECT_EQ(shortcuts->problem("talk"), "Ctrl + Alt + D is used by another program.");
    EXPECT_EQ(changes, 1);
    EXPECT_EQ(shortcuts->shortcut("talk"), ctrlAltD);
}

TEST_F(KeyboardShortcutsTest, whatIsStoredAndDoesNotWorkIsAProblem) {
    struct Case {
        const char* why;
        UserDefaults::Value value;
        const char* problem;
    };
    const Case cases[] = {
        {"taken", std::string("F1"), "F1 is used by another program."},
        {"no such key", std::string("F35"), "This keyboard has no key for F35."},
        {"edited by hand", std::string("a"), "A is for typing: hold Ctrl, Alt or Super with it."},
        {"no chord", std::string("Ctrl+"),
            "The shortcut's setting is damaged: record the shortcut again."},
        {"no text", true, "The shortcut's setting is damaged: record the shortcut again."},
    };
    hotKeys.refusals = {{"F1", HotKeyError::taken}, {"F35", HotKeyError::unknownKey}};
    for (const auto& c : cases) {
        shortcuts = create();
        watch = shortcuts->observeChanges([this] { ++changes; });
        changes = 0;
        ASSERT_TRUE(defaults.setValue(key, c.value));
        handle();
        EXPECT_EQ(shortcuts->problem("talk"), c.problem) << c.why;
        EXPECT_EQ(changes, 1) << c.why;
        EXPECT_EQ(record(f9), std::nullopt) << c.why;
        EXPECT_EQ(shortcuts->problem("talk"), std::nullopt) << c.why;
    }
    shortcuts = create();
    defaults.unreadable = {key};
    handle();
    EXPECT_EQ(shortcuts->problem("talk"),
        "The shortcut's setting is damaged: record the shortcut again.");
    EXPECT_EQ(shortcuts->shortcut("talk"), std::nullopt);
    EXPECT_EQ(log.all().find("Ctrl"), std::string::npos) << log.all();
}

TEST_F(KeyboardShortcutsTest, whatDidNotWorkIsTriedAgain) {
    hotKeys.refusals = {{"F1", HotKeyError::taken}};
    store("F1");
    store("Ctrl+Alt+d", "other");
    store("Ctrl+Alt+d", "third");
    handle();
    handle("other");
    handle("third");
    EXPECT_EQ(shortcuts->problem("third"), "Ctrl + Alt + D is another shortcut of Nimbe already.");
    changes = 0;
    shortcuts->resume();
    EXPECT_EQ(changes, 0) << "nothing new";
    EXPECT_TRUE(shortcuts->problem("talk"));

    hotKeys.refusals.clear();
    shortcuts->suspend();
    shortcuts->resume();
    EXPECT_FALSE(shortcuts->problem("talk"));
    EXPECT_TRUE(hotKeys.isRegistered(chord("F1")));
    EXPECT_EQ(changes, 1);
    EXPECT_EQ(record(f9, "other"), std::nullopt);
    EXPECT_FALSE(shortcuts->problem("third")) << "it is free now";
    EXPECT_EQ(hotKeys.registeredCount(), 3U);
}

TEST_F(KeyboardShortcutsTest, nothingFiresWhileAChordIsRecorded) {
    store("Ctrl+Alt+d");
    handle();
    EXPECT_TRUE(hotKeys.press(ctrlAltD));
    shortcuts->suspend();
    EXPECT_EQ(calls, "du") << "the up that was owed";
    EXPECT_EQ(hotKeys.registeredCount(), 0U);
    shortcuts->suspend();
    EXPECT_EQ(calls, "du");

    EXPECT_EQ(record(f9), std::nullopt);
    hotKeys.refusals = {{"F1", HotKeyError::taken}};
    EXPECT_EQ(record(chord("F1")), Kind::taken) << "said at once";
    EXPECT_EQ(hotKeys.registeredCount(), 0U);
    handle("other");
    shortcuts->resume();
    EXPECT_EQ(stored(), "F9");
    EXPECT_TRUE(hotKeys.press(f9));
    EXPECT_EQ(hotKeys.registeredCount(), 1U);

    EXPECT_EQ(calls, "dud");
    EXPECT_TRUE(shortcuts->clear("talk"));
    EXPECT_EQ(calls, "dudu");
    EXPECT_EQ(record(ctrlAltD, "unhandled"), std::nullopt);
    EXPECT_EQ(hotKeys.registeredCount(), 0U) << "nobody would hear it";
    EXPECT_EQ(shortcuts->shortcut("unhandled"), ctrlAltD);
}

TEST_F(KeyboardShortcutsTest, handlersMayDoAllOfThis) {
    store("Ctrl+Alt+d");
    shortcuts->handle("talk", {[this] {
                                   calls += 'd';
                                   EXPECT_EQ(record(f9), std::nullopt);
                               },
                                  [this] {
                                      calls += 'u';
                                      shortcuts.reset();
                                  }});
    EXPECT_TRUE(hotKeys.press(ctrlAltD));
    EXPECT_EQ(calls, "du");
    EXPECT_EQ(shortcuts, nullptr);
    EXPECT_EQ(hotKeys.registeredCount(), 0U);
}

} // namespace nimbe
