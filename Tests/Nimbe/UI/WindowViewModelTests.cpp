#include <gtest/gtest.h>

#include "Fakes/FakeCaptureHUD.h"
#include "Fakes/ManualMainActor.h"
#include "NimbeApp/AppSettings.h"
#include "NimbeUI/QtText.h"
#include "NimbeUI/WindowViewModel.h"
#include "UIScene.h"

namespace nimbe {
namespace {

struct WindowViewModelTest : testing::Test {
    ManualMainActor actor;
    EngineScene below{actor};
    FakeCaptureHUD hud;
    UIScene scene{below, hud};
    Theme theme{below.surroundings, below.defaults};
    DesktopActions actions{scene.services()};
};

} // namespace

TEST_F(WindowViewModelTest, theFirstRunStaysUntilItIsDone) {
    {
        WindowViewModel model(actions, theme);
        EXPECT_EQ(utf8(model.page()), "welcome");
        model.showPage("settings");
        EXPECT_EQ(utf8(model.page()), "welcome");
        EXPECT_TRUE(model.take("Hello there."));
        EXPECT_EQ(utf8(model.heard()), "Hello there.");
        model.finishWelcome();
        EXPECT_EQ(utf8(model.page()), "history");
        EXPECT_FALSE(model.take("Private.")) << "nothing here takes it";
        EXPECT_EQ(utf8(model.heard()), "Hello there.");
    }
    const WindowViewModel next(actions, theme);
    EXPECT_EQ(utf8(next.page()), "history");
}

TEST_F(WindowViewModelTest, keepingAllIsOfferedOnce) {
    WindowViewModel model(actions, theme);
    EXPECT_FALSE(model.offersKeepingAll()) << "there is nothing to keep";
    (void)scene.history.append("Hello there.", DictationMode::notes, Date::now());
    actions.refreshHistory();
    EXPECT_TRUE(model.offersKeepingAll());
    below.defaults.refusesWrites = true;
    model.answerKeepingAll(true);
    EXPECT_NE(utf8(model.problem()), "");
    EXPECT_TRUE(model.offersKeepingAll()) << "the answer was not stored";
    below.defaults.refusesWrites = false;
    model.answerKeepingAll(false);
    EXPECT_EQ(utf8(model.problem()), "");
    EXPECT_FALSE(model.offersKeepingAll());
    EXPECT_FALSE(model.keepsAll());
    model.setKeepsAll(true);
    EXPECT_TRUE(model.keepsAll());
}

TEST_F(WindowViewModelTest, aChosenMicrophoneThatIsGoneStaysVisible) {
    below.input.present = {{"usb", "Blue Yeti"}};
    scene.microphones.refresh();
    actor.runPosted();
    WindowViewModel model(actions, theme);
    EXPECT_EQ(model.microphones(), QStringList({"System Default", "Blue Yeti"}));
    EXPECT_EQ(model.microphone(), 0);
    model.selectMicrophone(1);
    actor.runPosted();
    EXPECT_EQ(model.microphone(), 1);
    below.input.present.clear();
    below.input.onChange();
    actor.runPosted();
    EXPECT_EQ(
        model.microphones(), QStringList({"System Default", "Selected microphone (unavailable)"}));
    EXPECT_EQ(model.microphone(), 1);
    model.selectMicrophone(7);
    EXPECT_EQ(model.microphone(), 1);
}

TEST_F(WindowViewModelTest, whatCannotBeStoredIsSaid) {
    WindowViewModel model(actions, theme);
    below.defaults.refusesWrites = true;
    model.setInsertSound(true);
    EXPECT_FALSE(model.insertSound());
    EXPECT_EQ(utf8(model.problem()), "This setting could not be stored.");
    below.defaults.refusesWrites = false;
    model.setInsertSound(true);
    EXPECT_TRUE(model.insertSound());
    EXPECT_EQ(utf8(model.problem()), "");
    scene.loginItem.isStubborn = true;
    model.setStartAtLogin(true);
    EXPECT_FALSE(model.startAtLogin());
    EXPECT_NE(utf8(model.problem()), "");
}

TEST_F(WindowViewModelTest, motionIsReducedByEitherTheUserOrTheDesktop) {
    WindowViewModel model(actions, theme);
    EXPECT_FALSE(theme.reducesMotion());
    model.setReduceMotion(true);
    EXPECT_TRUE(theme.reducesMotion());
    model.setReduceMotion(false);
    below.surroundings._reducesMotion.set(true);
    EXPECT_TRUE(theme.reducesMotion());
    below.surroundings._prefersDark.set(true);
    EXPECT_TRUE(theme.isDark());
    EXPECT_NE(theme.accent(), theme.background());
}

TEST_F(WindowViewModelTest, theNoteFollowsTheChoiceOfALocalLaunch) {
    scene.crashes._assessment.set({true, 2, true});
    WindowViewModel model(actions, theme);
    EXPECT_TRUE(model.hasCrashBanner());
    EXPECT_EQ(utf8(model.localOnlyTitle()), "Relaunch local-only");
    below.defaults.refusesWrites = true;
    model.relaunchLocalOnly();
    EXPECT_EQ(utf8(model.localOnlyNote()), "") << "it was not stored";
    below.defaults.refusesWrites = false;
    model.relaunchLocalOnly();
    EXPECT_NE(utf8(model.localOnlyNote()), "");
    EXPECT_EQ(utf8(model.localOnlyTitle()), "");
    EXPECT_TRUE(below.defaults.get(CrashSentinelController::forceLocalOnlyOnce));
    model.dismissCrash();
    EXPECT_FALSE(model.hasCrashBanner());
}

TEST_F(WindowViewModelTest, manyChangesInATurnAreToldOnce) {
    int changes = 0;
    QObject::connect(&actions, &DesktopActions::changed, [&] { ++changes; });
    scene.dictation->_targetName.set("Editor");
    scene.dictation->_phase.set({MacDictationController::Phase::Kind::preparing});
    scene.dictation->_phase.set({MacDictationController::Phase::Kind::recording});
    EXPECT_EQ(changes, 0);
    actor.runPosted();
    EXPECT_EQ(changes, 1);
    EXPECT_EQ(TrayMenu::statusLine(actions.state()), "Recording for Editor.");
}

} // namespace nimbe
