#include "DictationScene.h"

namespace nimbe {
namespace {

using Kind = MacDictationController::Phase::Kind;
using Interaction = MacDictationController::Interaction;
using Symbol = CaptureHUD::Symbol;

struct MacDictationControllerTest : testing::Test, DictationScene {};

} // namespace

TEST_F(MacDictationControllerTest, holdingTheOptionKeyDictates) {
    (void)defaults.set(InsertSettings::insertSoundEnabled, true);
    words = "um hello new line there";
    start();
    option(true);
    actor.advance(0.24);
    EXPECT_EQ(phase(), Kind::idle);
    actor.advance(0.02);
    EXPECT_EQ(phase(), Kind::recording);
    EXPECT_EQ(controller->_targetName.get(), "Editor");
    EXPECT_TRUE(hud.isPresented());
    EXPECT_EQ(hud.target, editor.frame);
    actor.advance(3);
    option(false);
    EXPECT_EQ(phase(), Kind::done) << message();
    EXPECT_EQ(message(), "Pasted into Editor");
    EXPECT_EQ(landed, std::vector<std::string>{"hello\nthere"});
    EXPECT_EQ(saved(), std::vector<std::string>{"hello\nthere"});
    EXPECT_EQ(controller->_lastInsert.get(), "Pasted");
    EXPECT_EQ(controller->_outcomes.get().at("Pasted"), 1);
    EXPECT_EQ(hud.result, (CaptureHUD::Result{Symbol::success, "Pasted into Editor", {}}));
    EXPECT_EQ(sound.played, std::vector<std::string>{"Pop"});
    EXPECT_TRUE(log.has(LogLevel::info, "dictation outcome: Pasted len=11")) << log.all();
    actor.advance(1.19);
    EXPECT_EQ(phase(), Kind::done);
    EXPECT_TRUE(hud.isPresented());
    actor.advance(0.011);
    EXPECT_EQ(phase(), Kind::idle);
    EXPECT_EQ(controller->_targetName.get(), std::nullopt);
    EXPECT_FALSE(hud.isPresented());
    actor.advance(10);
    EXPECT_EQ(actor.pendingTimers(), 0U) << "something goes on while nothing happens";
    EXPECT_EQ(log.all().find("hello"), std::string::npos) << "what was said is in the log";
}

TEST_F(MacDictationControllerTest, anOptionHoldIsMeasuredFromTheKey) {
    start();
    option(true);
    actor.advance(0.26); // physical; the press came at 0.25
    option(false);
    EXPECT_EQ(phase(), Kind::recording) << "less than 0.3 s: it may become hands-free";
    actor.advance(0.4);
    EXPECT_EQ(phase(), Kind::done);

    actor.advance(5);
    option(true);
    actor.advance(0.31);
    option(false);
    EXPECT_EQ(phase(), Kind::done) << "0.3 s from the key down, not from the press";
}

TEST_F(MacDictationControllerTest, aDoubleTapRecordsHandsFree) {
    start();
    for (const double pause : {0.1, 0.1, 0.1, 0.0}) {
        option(true);
        actor.advance(0.05);
        option(false);
        actor.advance(pause);
        if (pause == 0.1 && controller->_interaction.get()) break;
    }
    EXPECT_EQ(controller->_interaction.get(), Interaction::latched);
    actor.advance(60);
    EXPECT_EQ(phase(), Kind::recording);
    // The next double tap ends it.
    for (int tap = 0; tap < 2; ++tap) {
        option(true);
        actor.advance(0.05);
        option(false);
        actor.advance(0.1);
    }
    EXPECT_EQ(landed, std::vector<std::string>{"Hello there."});
    actor.advance(5);
    EXPECT_EQ(phase(), Kind::idle);
    EXPECT_EQ(recogniser.starts, 1);
}

TEST_F(MacDictationControllerTest, aHoldEndsWhatADoubleTapBegan) {
    start();
    controller->optionDoubleTap();
    actor.runPosted();
    ASSERT_EQ(controller->_interaction.get(), Interaction::latched);
    option(true);
    actor.advance(0.25);
    EXPECT_EQ(landed.size(), 1U);
    option(false); // not a release of anything
    actor.advance(5);
    EXPECT_EQ(recogniser.starts, 1);
    EXPECT_EQ(phase(), Kind::idle);
}

TEST_F(MacDictationControllerTest, shortPressesOfTheChord) {
    startWithChord();
    EXPECT_EQ(keys.monitorCount(), 0U) << "two triggers at once";
    keyDown();
    actor.advance(0.2);
    keyUp();
    actor.advance(0.39);
    EXPECT_EQ(phase(), Kind::recording);
    keyDown(); // within the double-click interval: hands-free
    EXPECT_EQ(controller->_interaction.get(), Interaction::latched);
    keyUp();
    actor.advance(30);
    EXPECT_EQ(phase(), Kind::recording);
    keyDown();
    keyUp();
    EXPECT_EQ(landed.size(), 1U);

    actor.advance(5);
    keyDown();
    actor.advance(0.2);
    keyUp();
    actor.advance(0.41); // no second press
    EXPECT_EQ(landed.size(), 2U);

    actor.advance(5);
    keyDown();
    actor.advance(0.301);
    keyUp();
    EXPECT_EQ(landed.size(), 3U) << "as long as the threshold is a hold";
}

TEST_F(MacDictationControllerTest, theTriggerFollowsTheRecordedChord) {
    start();
    EXPECT_EQ(keys.monitorCount(), 3U);
    ASSERT_TRUE(shortcuts.record("toggleDictation", chord));
    EXPECT_EQ(keys.monitorCount(), 0U);
    keyDown();
    ASSERT_TRUE(shortcuts.clear("toggleDictation"));
    EXPECT_EQ(keys.monitorCount(), 3U);
    actor.advance(1);
    EXPECT_NE(phase(), Kind::recording) << "its release will never come";

    actor.advance(5);
    option(true);
    actor.advance(0.3);
    EXPECT_EQ(phase(), Kind::recording);
    ASSERT_TRUE(shortcuts.record("toggleDictation", chord));
    actor.advance(1);
    EXPECT_NE(phase(), Kind::recording) << "nor will this one's";
}

TEST_F(MacDictationControllerTest, theTargetIsWhatWasInFrontAtThePress) {
    startWithChord();
    keyDown();
    workspace.bringForward(other);
    actor.advance(1);
    keyUp();
    actor.advance(0.1);
    EXPECT_EQ(message(), "Pasted into Editor");
    EXPECT_EQ(workspace.front, editor);

    // This program's own window is in front: then the one before it.
    actor.advance(5);
    workspace.bringForward(other);
    workspace.bringForward(own);
    keyDown();
    EXPECT_EQ(controller->_targetName.get(), "Other");
    actor.advance(1);
    keyUp();
    actor.advance(0.1);
    EXPECT_EQ(message(), "Pasted into Other");
}

TEST_F(MacDictationControllerTest, aFieldOfItsOwnTakesWhatIsSaidInItsWindow) {
    hasOwnField = true;
    startWithChord();
    for (const bool isOwn : {false, true}) {
        workspace.bringForward(other);
        if (isOwn) workspace.bringForward(own);
        keyDown();
        actor.advance(1);
        keyUp();
        actor.advance(0.1);
        EXPECT_EQ(message(), isOwn ? "Pasted into Nimbe" : "Pasted into Other");
        actor.advance(5);
    }
    EXPECT_EQ(taken, std::vector<std::string>{"Hello there."});
    EXPECT_EQ(landed, std::vector<std::string>{"Hello there."});
    ASSERT_EQ(told.size(), 2U);
    EXPECT_EQ(told[0], history.entries()[1]);
}

} // namespace nimbe
