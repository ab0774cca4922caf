#include <gtest/gtest.h>

#include "Fakes/FakeCaptureHUD.h"
#include "Fakes/ManualMainActor.h"
#include "NimbeUI/QtText.h"
#include "NimbeUI/ShortcutRecorder.h"
#include "UIScene.h"

namespace nimbe {
namespace {

constexpr auto name = MacDictationController::shortcutName;
constexpr int controlAlt =
    static_cast<int>(Qt::ControlModifier) | static_cast<int>(Qt::AltModifier);

struct ShortcutRecorderTest : testing::Test {
    ManualMainActor actor;
    EngineScene below{actor};
    FakeCaptureHUD hud;
    UIScene scene{below, hud};
    std::unique_ptr<DesktopActions> actions;
    std::unique_ptr<ShortcutRecorder> recorder;

    void SetUp() override {
        scene.keyNames.names = {{40, "d"}, {10, "1"}, {9, "Escape"}};
        scene.dictation->start();
        actor.runPosted();
        actions = std::make_unique<DesktopActions>(scene.services());
        recorder = std::make_unique<ShortcutRecorder>(*actions);
    }
    [[nodiscard]] std::string recorded() {
        const auto chord = scene.shortcuts.shortcut(name);
        return chord ? chord->text() : "none";
    }
    [[nodiscard]] std::string title() const { return utf8(recorder->title()); }
};

} // namespace

TEST_F(ShortcutRecorderTest, takesTheNextChordAndShowsItOnTheWay) {
    EXPECT_FALSE(recorder->keyPressed(Qt::Key_D, controlAlt, 40)) << "not recording";
    recorder->start();
    EXPECT_EQ(title(), "Press a chord…");
    EXPECT_TRUE(recorder->keyPressed(Qt::Key_Control, 0, 37));
    EXPECT_EQ(title(), "Ctrl + …");
    recorder->keyPressed(Qt::Key_Alt, Qt::ControlModifier, 64);
    EXPECT_EQ(title(), "Ctrl + Alt + …");
    recorder->keyReleased(Qt::ControlModifier);
    EXPECT_EQ(title(), "Ctrl + …");
    recorder->keyPressed(Qt::Key_D, controlAlt, 40);
    EXPECT_FALSE(recorder->isRecording());
    EXPECT_EQ(recorded(), "Ctrl+Alt+d");
    EXPECT_EQ(title(), "Ctrl + Alt + D");
    EXPECT_TRUE(scene.hotKeys.isRegistered(*Shortcut::parse("Ctrl+Alt+d"))) << "resumed";
    recorder->clear();
    EXPECT_EQ(recorded(), "none");
}

TEST_F(ShortcutRecorderTest, theKeyIsTheOneWithoutModifiers) {
    recorder->start();
    const int shifted = controlAlt | static_cast<int>(Qt::ShiftModifier);
    recorder->keyPressed(Qt::Key_Exclam, shifted, 10);
    EXPECT_EQ(recorded(), "Ctrl+Alt+Shift+1");
}

TEST_F(ShortcutRecorderTest, goesOnAfterARefusalInWords) {
    scene.hotKeys.refusals["Ctrl+Alt+d"] = HotKeyError::taken;
    recorder->start();
    recorder->keyPressed(Qt::Key_D, 0, 40);
    EXPECT_NE(utf8(recorder->error()), "") << "it would take a key away from typing";
    recorder->keyPressed(Qt::Key_D, controlAlt, 40);
    EXPECT_NE(utf8(recorder->error()), "") << "taken";
    recorder->keyPressed(Qt::Key_D, controlAlt, 200);
    EXPECT_NE(utf8(recorder->error()), "") << "without a name";
    EXPECT_TRUE(recorder->isRecording());
    EXPECT_EQ(recorded(), "none");
    recorder->keyPressed(Qt::Key_1, controlAlt, 10);
    EXPECT_EQ(recorded(), "Ctrl+Alt+1");
    EXPECT_EQ(utf8(recorder->error()), "");
}

TEST_F(ShortcutRecorderTest, theOldChordIsStillWhileRecordingAndBackAfterEscape) {
    const auto chord = *Shortcut::parse("Ctrl+Alt+d");
    ASSERT_TRUE(scene.shortcuts.record(name, chord));
    recorder->start();
    EXPECT_FALSE(scene.hotKeys.press(chord));
    recorder->keyPressed(Qt::Key_Escape, 0, 9);
    EXPECT_FALSE(recorder->isRecording());
    EXPECT_EQ(recorded(), "Ctrl+Alt+d");
    EXPECT_TRUE(scene.hotKeys.isRegistered(chord));

    recorder->start();
    recorder.reset(); // the window is closed
    EXPECT_TRUE(scene.hotKeys.isRegistered(chord));
}

TEST_F(ShortcutRecorderTest, aSlowChordStartsNoDictation) {
    recorder->start();
    scene.keys.changeFlags({.option = true});
    actor.advance(5);
    EXPECT_EQ(scene.dictation->_phase.get().kind, MacDictationController::Phase::Kind::idle);
    EXPECT_FALSE(hud.isPresented());
    scene.keys.changeFlags({});
    recorder->stop();
    actor.advance(5);
    scene.keys.changeFlags({.option = true});
    actor.advance(1);
    EXPECT_NE(scene.dictation->_phase.get().kind, MacDictationController::Phase::Kind::idle);
}

} // namespace nimbe
