#include "DictationScene.h"
#include "NimbeApp/AppSettings.h"
#include "NimbeApp/MacAppDelegate.h"
#include "NimbeSync/HistorySyncPrompt.h"
#include "NimbeSync/MemorySyncDatabase.h"

namespace nimbe {
namespace {

using Kind = MacDictationController::Phase::Kind;
using Texts = std::vector<std::string>;

struct AICleanupTest : testing::Test, DictationScene {
    AICleanupTest() {
        (void)defaults.set(MacCleanupPolicy::aiCleanupEnabled, true);
        words = "um hello new line there";
    }
    void choose(std::string mode) {
        ASSERT_TRUE(defaults.set(AppSettings::dictationMode, std::move(mode)));
    }
    void dictate() {
        keyDown();
        actor.advance(1);
        keyUp();
    }
};

} // namespace

TEST_F(AICleanupTest, thePolishedTextIsDeliveredAndKept) {
    choose("email");
    startWithChord();
    processor.answers = {"Hello,\nthere."};
    keyDown();
    EXPECT_EQ(prewarmed, std::vector{DictationMode::email}) << "while somebody speaks";
    actor.advance(1);
    keyUp();
    EXPECT_EQ(phase(), Kind::done) << message();
    EXPECT_EQ(landed, Texts{"Hello,\nthere."});
    ASSERT_EQ(history.entries().size(), 1U);
    EXPECT_EQ(history.entries()[0].text, "Hello,\nthere.");
    EXPECT_EQ(history.entries()[0].mode, DictationMode::email);
    ASSERT_EQ(processor.given.size(), 1U);
    EXPECT_EQ(processor.given[0].first, "um hello new line there") << "as it was heard";
    EXPECT_EQ(processor.given[0].second, DictationMode::email);
}

TEST_F(AICleanupTest, whatWasSaidIsKeptBesideWhatBecameOfIt) {
    MemorySyncDatabase database;
    InMemoryTranscriptKeyStore keys;
    TranscriptKey key(keys, TranscriptKey::Use::readAndMake, log);
    SyncStore store(database, key, log);
    syncStore = &store;
    ASSERT_TRUE(defaults.set(HistorySyncPrompt::historyEnabled, true));
    choose("email");
    startWithChord();
    processor.answers = {"Hello,\nthere."};
    dictate();
    ASSERT_EQ(store.transcripts().size(), 1U);
    const auto kept = store.transcripts()[0];
    EXPECT_EQ(kept.id, history.entries()[0].id);
    EXPECT_EQ(kept.text, "Hello,\nthere.");
    EXPECT_EQ(kept.originalText, "um hello new line there");
    EXPECT_EQ(kept.mode, "email");

    actor.advance(5);
    ASSERT_TRUE(defaults.set(MacCleanupPolicy::aiCleanupEnabled, false));
    dictate();
    ASSERT_EQ(store.transcripts().size(), 2U);
    EXPECT_EQ(store.transcripts()[0].originalText, std::nullopt) << "no model, no original";
}

TEST_F(AICleanupTest, whichWayATextTakes) {
    struct Case {
        const char* why;
        bool isEnabled;
        const char* mode;
        const char* text;
        bool isProcessed;
    };
    const Case cases[] = {
        {"switched off", false, "notes", "hello\nthere", false},
        {"switched off, code too", false, "coding", "hello\nthere", false},
        {"code as it was heard", true, "coding", "um hello new line there", false},
        {"an unknown mode is the first", true, "poetry", "Polished.", true},
        {"on", true, "notes", "Polished.", true},
    };
    startWithChord();
    for (const auto& c : cases) {
        (void)defaults.set(MacCleanupPolicy::aiCleanupEnabled, c.isEnabled);
        choose(c.mode);
        processor.given.clear();
        processor.answers = {"Polished."};
        landed.clear();
        prewarmed.clear();
        dictate();
        EXPECT_EQ(landed, Texts{c.text}) << c.why;
        EXPECT_EQ(processor.given.size(), c.isProcessed ? 1U : 0U) << c.why;
        EXPECT_EQ(prewarmed.size(), c.isProcessed ? 1U : 0U) << c.why;
        actor.advance(5);
    }
}

TEST_F(AICleanupTest, theSwitchCountsWhenTheTextIsThere) {
    startWithChord();
    keyDown();
    actor.advance(1);
    (void)defaults.set(MacCleanupPolicy::aiCleanupEnabled, false);
    keyUp();
    EXPECT_EQ(landed, Texts{"hello\nthere"});
    EXPECT_TRUE(processor.given.empty());
}

TEST_F(AICleanupTest, nothingSaidIsNotPolished) {
    words = "";
    startWithChord();
    dictate();
    EXPECT_EQ(phase(), Kind::unavailable);
    EXPECT_TRUE(processor.given.empty());
}

TEST_F(AICleanupTest, whoeverDoesNotWaitGetsTheTextOfTheRules) {
    const std::pair<const char*, std::function<void()>> ways[] = {
        {"the key again",
            [this] {
                keyDown();
                keyUp();
            }},
        {"the menu, or another program",
            [this] {
                EXPECT_TRUE(controller->stopRecording());
            }},
        {"the end of the program",
            [this] {
                EXPECT_TRUE(controller->wrapUp());
            }},
    };
    startWithChord();
    for (const auto& [why, hurry] : ways) {
        landed.clear();
        dictate();
        EXPECT_TRUE(controller->_isPolishing.get());
        EXPECT_EQ(phase(), Kind::finalizing);
        EXPECT_EQ(landed, Texts{}) << why;
        hurry();
        actor.runPosted();
        EXPECT_EQ(landed, Texts{"Hello\nthere"}) << why;
        EXPECT_FALSE(controller->_isPolishing.get());
        actor.advance(5);
        EXPECT_EQ(phase(), Kind::idle) << why;
        EXPECT_EQ(controller->_interaction.get(), std::nullopt) << why;
    }
    dictate();
    EXPECT_EQ(landed.size(), 2U) << "the program ends, and yet a model was asked";
}

TEST_F(AICleanupTest, theEndOfTheProgramDoesNotWaitForAModel) {
    MacAppDelegate delegate(actor, log);
    bool hasQuit = false;
    startWithChord();
    keyDown();
    actor.advance(1);
    delegate.terminate(*controller, inserter, [&] { hasQuit = true; });
    actor.advance(1.5);
    EXPECT_EQ(landed, Texts{"Hello\nthere"});
    EXPECT_TRUE(hasQuit);
}

TEST_F(AICleanupTest, aControllerThatGoesStopsThePolishing) {
    startWithChord();
    dictate();
    ASSERT_TRUE(controller->_isPolishing.get());
    const std::weak_ptr<MacDictationController> gone = controller;
    controller.reset();
    EXPECT_TRUE(gone.expired()) << "what polishes holds it";
    actor.advance(20);
    EXPECT_EQ(landed, Texts{});
}

} // namespace nimbe
