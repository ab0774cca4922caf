#include <gtest/gtest.h>

#include "Fakes/FakeCaptureHUD.h"
#include "Fakes/ManualMainActor.h"
#include "NimbeApp/AppSettings.h"
#include "NimbeEngine/Language/LanguageModelSettings.h"
#include "NimbeUI/LanguageModelViewModel.h"
#include "NimbeUI/QtText.h"
#include "UIScene.h"

namespace nimbe {
namespace {

struct LanguageModelViewModelTest : testing::Test {
    ManualMainActor actor;
    EngineScene below{actor};
    FakeCaptureHUD hud;
    UIScene scene{below, hud};
    DesktopActions actions{scene.services()};
    LanguageModelViewModel model{actions};
};

} // namespace

TEST_F(LanguageModelViewModelTest, onlyAGoodAddressIsStored) {
    struct Case {
        const char* entered;
        bool allowsOthers;
        const char* stored; // "" none, "=": what was there
        const char* problem;
    };
    const Case cases[] = {
        {"http://127.0.0.1:11434", false, "http://127.0.0.1:11434", ""},
        {"  localhost:8080/v1 ", false, "http://localhost:8080/v1", ""},
        {"", false, "", ""},
        {"ftp://localhost", true, "=", "no address"},
        {"http://local host", true, "=", "no address"},
        {"http://", true, "=", "no address"},
        {"192.168.1.5:1234", false, "=", "another machine"},
        {"https://models.example.org", false, "=", "another machine"},
        {"192.168.1.5:1234", true, "http://192.168.1.5:1234", ""},
    };
    for (const auto& c : cases) {
        (void)below.defaults.set(LanguageModelSettings::address, std::string("http://[::1]:1"));
        model.setAllowsOtherHosts(c.allowsOthers);
        model.enterAddress(c.entered);
        const std::string expected = c.stored == std::string("=") ? "http://[::1]:1" : c.stored;
        EXPECT_EQ(utf8(model.address()), expected) << c.entered;
        const auto problem = utf8(model.addressProblem());
        EXPECT_EQ(problem.empty(), *c.problem == '\0') << c.entered << ": " << problem;
        EXPECT_NE(problem.find(c.problem), std::string::npos) << problem;
    }
}

TEST_F(LanguageModelViewModelTest, aChosenModelThatIsGoneStaysVisible) {
    using Kind = LanguageModel::Availability::Kind;
    scene.model.published.set({.kind = Kind::available, .models = {"big", "tiny"}});
    EXPECT_EQ(model.models(), QStringList({"Automatic", "big", "tiny"}));
    EXPECT_EQ(model.model(), 0);
    model.setModel(2);
    EXPECT_EQ(below.defaults.get(LanguageModelSettings::name), "tiny");
    scene.model.published.set({.kind = Kind::noServer});
    EXPECT_EQ(model.models(), QStringList({"Automatic", "tiny"}));
    EXPECT_EQ(model.model(), 1);
    model.setModel(0);
    EXPECT_EQ(below.defaults.get(LanguageModelSettings::name), "");
    model.setModel(7);
    EXPECT_EQ(model.model(), 0);
}

TEST_F(LanguageModelViewModelTest, theServerIsAskedOnlyWhileSomebodyLooks) {
    actor.advance(60);
    EXPECT_EQ(scene.model.refreshed, 0);
    model.setWatched(true);
    EXPECT_EQ(scene.model.refreshed, 1);
    actor.advance(3.1);
    EXPECT_EQ(scene.model.refreshed, 2);
    model.setWatched(false);
    actor.advance(60);
    EXPECT_EQ(scene.model.refreshed, 2);
}

TEST_F(LanguageModelViewModelTest, theStyleIsOneOfFourWhateverIsStored) {
    (void)below.defaults.set(AppSettings::dictationMode, std::string("poetry"));
    EXPECT_EQ(model.style(), 0);
    EXPECT_EQ(model.styles(), QStringList({"Messages", "Email", "Notes", "Code"}));
    model.setStyle(3);
    EXPECT_EQ(below.defaults.get(AppSettings::dictationMode), "coding");
    model.setStyle(4);
    EXPECT_EQ(model.style(), 3);
}

TEST_F(LanguageModelViewModelTest, whatCannotBeStoredIsSaid) {
    below.defaults.refusesWrites = true;
    model.setCleanupOn(true);
    EXPECT_FALSE(model.isCleanupOn());
    EXPECT_NE(utf8(model.problem()), "");
    below.defaults.refusesWrites = false;
    model.enterSignature("  Zoë\tÖ. ");
    EXPECT_EQ(utf8(model.signature()), "Zoë Ö.");
    EXPECT_EQ(utf8(model.problem()), "");
}

} // namespace nimbe
