#include <fstream>

#include <gtest/gtest.h>

#include "Fakes/FakeCaptureHUD.h"
#include "Fakes/ManualMainActor.h"
#include "NimbeUI/AIClientsViewModel.h"
#include "NimbeUI/QtText.h"
#include "UIScene.h"

namespace nimbe {
namespace {

struct AIClientsViewModelTest : testing::Test {
    ManualMainActor actor;
    EngineScene below{actor};
    FakeCaptureHUD hud;
    UIScene scene{below, hud};
    DesktopActions actions{scene.services()};
    AIClientsViewModel clients{actions};
    int changes = 0;

    AIClientsViewModelTest() {
        QObject::connect(&clients, &AIClientsViewModel::changed, [this] { ++changes; });
    }
};

} // namespace

TEST_F(AIClientsViewModelTest, theOneButtonConnectsAndDisconnects) {
    EXPECT_FALSE(clients.isConnected());
    clients.toggle();
    EXPECT_TRUE(clients.isConnected());
    EXPECT_TRUE(scene.registration.state()->isThisProgram);
    EXPECT_EQ(changes, 1);
    // Somebody takes it out elsewhere.
    EXPECT_FALSE(scene.registration.remove());
    EXPECT_TRUE(clients.isConnected());
    clients.refresh();
    EXPECT_FALSE(clients.isConnected());
    clients.toggle();
    clients.toggle();
    EXPECT_FALSE(scene.registration.state()->isThisProgram);
    EXPECT_EQ(utf8(clients.status()), "Claude Desktop is not connected.");
}

TEST_F(AIClientsViewModelTest, whatWentWrongStaysUntilTheNextTry) {
    const auto& file = scene.registration.place().configFile;
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file) << "[]";
    clients.toggle();
    clients.refresh();
    EXPECT_TRUE(clients.hasFailed());
    EXPECT_FALSE(clients.isConnected());
    EXPECT_NE(utf8(clients.status()).find(file.string()), std::string::npos);
    std::ofstream(file) << "{}";
    clients.toggle();
    EXPECT_FALSE(clients.hasFailed());
    EXPECT_TRUE(clients.isConnected());
}

TEST_F(AIClientsViewModelTest, theCopiedCommandIsToldForAMoment) {
    clients.copyCommand();
    actor.runPosted();
    EXPECT_TRUE(clients.isCommandCopied());
    EXPECT_EQ(changes, 1);
    EXPECT_EQ(scene.pasteboard.paste(), scene.registration.commandLine());
    actor.advance(1.6);
    EXPECT_FALSE(clients.isCommandCopied());
    EXPECT_EQ(changes, 2);
}

} // namespace nimbe
