#include <gtest/gtest.h>

#include "Fakes/FakeCaptureHUD.h"
#include "Fakes/ManualMainActor.h"
#include "NimbeUI/CaptureViewModel.h"
#include "NimbeUI/QtText.h"
#include "UIScene.h"

namespace nimbe {
namespace {

using Kind = MacDictationController::Phase::Kind;

struct CaptureViewModelTest : testing::Test {
    ManualMainActor actor;
    EngineScene below{actor};
    FakeCaptureHUD hud;
    UIScene scene{below, hud};
    CaptureViewModel model{below.engine};

    [[nodiscard]] std::string stage() const { return utf8(model.stage()); }
    [[nodiscard]] std::string hint() const { return utf8(model.hint()); }
};

} // namespace

TEST_F(CaptureViewModelTest, fromPreparingToTheResult) {
    model.follow(*scene.dictation);
    model.begin();
    scene.dictation->_phase.set({Kind::preparing});
    EXPECT_EQ(stage(), "preparing");
    EXPECT_EQ(hint(), "Getting ready…");
    EXPECT_EQ(model.progress(), -1);

    below.engine._prepProgress.set(0.999);
    EXPECT_EQ(hint(), "Downloading the speech model… 99 %");
    EXPECT_EQ(model.progress(), 0.999);
    below.engine._prepProgress.set(std::nullopt);

    scene.dictation->_phase.set({Kind::recording});
    EXPECT_EQ(stage(), "recording");
    EXPECT_EQ(hint(), "");
    scene.dictation->_interaction.set(MacDictationController::Interaction::latched);
    EXPECT_EQ(hint(), "Hands-free. Press again to finish.");
    scene.dictation->start(); // no shortcut is recorded
    scene.dictation->_interaction.set(std::nullopt);
    scene.dictation->_interaction.set(MacDictationController::Interaction::latched);
    EXPECT_EQ(hint(), "Hands-free. Tap Alt twice to finish.");
    below.engine._levels.set({0.5, 0.25});
    EXPECT_EQ(model.levels(), (QList<double>{0.5, 0.25}));
    below.engine._liveTranscript.set("Zoë");
    EXPECT_EQ(utf8(model.transcript()), "Zoë");

    scene.dictation->_phase.set({Kind::finalizing});
    EXPECT_EQ(hint(), "Finishing…");
    EXPECT_EQ(utf8(model.transcript()), "Zoë") << "what was said stands until the result";

    model.show({CaptureHUD::Symbol::problem, "Copied to clipboard", "Why."});
    EXPECT_EQ(stage(), "result");
    EXPECT_EQ(utf8(model.symbol()), "exclamationmark.triangle.fill");
    EXPECT_EQ(utf8(model.message()), "Copied to clipboard");
    EXPECT_EQ(utf8(model.note()), "Why.");
    scene.dictation->_phase.set({Kind::done, "Copied to clipboard"});
    EXPECT_EQ(stage(), "result");
}

TEST_F(CaptureViewModelTest, anotherDictationShowsNothingOfTheLast) {
    model.begin();
    below.engine._levels.set({0.5});
    below.engine._liveTranscript.set("Mine alone.");
    below.engine._levels.set({});
    model.show({CaptureHUD::Symbol::success, "Pasted"});
    model.begin();
    EXPECT_EQ(stage(), "preparing");
    EXPECT_EQ(utf8(model.transcript()) + utf8(model.message()) + utf8(model.symbol()), "");
    EXPECT_TRUE(model.levels().empty());
}

TEST_F(CaptureViewModelTest, takesNothingAfterItsEnd) {
    model.begin();
    model.show({CaptureHUD::Symbol::success, "Pasted"});
    model.end();
    int changes = 0;
    QObject::connect(&model, &CaptureViewModel::changed, [&] { ++changes; });
    QObject::connect(&model, &CaptureViewModel::levelsChanged, [&] { ++changes; });
    below.engine._levels.set({0.5});
    below.engine._liveTranscript.set("later");
    below.engine._prepProgress.set(0.5);
    EXPECT_EQ(changes, 0);
    EXPECT_EQ(stage(), "result") << "it is still seen while it fades";
}

TEST_F(CaptureViewModelTest, withoutTheControllerTheMeterTellsThatItRecords) {
    model.begin();
    EXPECT_EQ(stage(), "preparing");
    below.engine._levels.set({0});
    EXPECT_EQ(stage(), "recording");
}

} // namespace nimbe
