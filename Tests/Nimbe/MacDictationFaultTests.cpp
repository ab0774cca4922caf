#include "DictationScene.h"

namespace nimbe {
namespace {

using Kind = MacDictationController::Phase::Kind;
using Interaction = MacDictationController::Interaction;
using Symbol = CaptureHUD::Symbol;

struct MacDictationFaultTest : testing::Test, DictationScene {};

} // namespace

TEST_F(MacDictationFaultTest, whatEndsInAMessage) {
    struct Case {
        const char* why;
        std::function<void(DictationScene&)> given;
        Kind phase;
        std::string message;
        std::optional<std::string> note;
        std::size_t savedCount;
    };
    using Step = FakeAudioInput::Step;
    const Case cases[] = {
        {"nothing said", [](auto& s) { s.words = ""; }, Kind::unavailable,
            "No speech detected. Nimbe dictates in English for now. Try again.", {}, 0},
        {"a cough", [](auto& s) { s.words = "uh."; }, Kind::unavailable,
            "No speech detected. Nimbe dictates in English for now. Try again.", {}, 0},
        {"no microphone", [](auto& s) { s.input.failing = Step::start; }, Kind::unavailable,
            "Nimbe could not open the selected microphone. Choose another microphone in "
            "Settings.",
            {}, 0},
        {"no recogniser",
            [](auto& s) {
                s.recogniser.error = DictationError{DictationError::Kind::noCompatibleAudioFormat};
            },
            Kind::unavailable,
            DictationError{DictationError::Kind::noCompatibleAudioFormat}.message(), {}, 0},
        {"the target is gone", [](auto& s) { s.workspace.activationDelay = std::nullopt; },
            Kind::done, "Copied to clipboard", "Editor didn't come forward.", 1},
        {"not trusted", [](auto& s) { s.trust.trusted = false; }, Kind::done, "Copied to clipboard",
            "grant Accessibility to auto-insert", 1},
        {"no clipboard", [](auto& s) { s.pasteboard.failing = FakePasteboard::Step::write; },
            Kind::unavailable, "The clipboard can't be reached. The text is in your history.", {},
            1},
    };
    for (const auto& c : cases) {
        DictationScene scene;
        scene.startWithChord();
        c.given(scene);
        scene.keyDown();
        scene.workspace.front = other;
        scene.actor.advance(1);
        scene.keyUp();
        scene.actor.advance(1.1);
        EXPECT_EQ(scene.phase(), c.phase) << c.why;
        EXPECT_EQ(scene.message(), c.message) << c.why;
        ASSERT_TRUE(scene.hud.result) << c.why;
        EXPECT_EQ(scene.hud.result->symbol, Symbol::problem) << c.why;
        EXPECT_EQ(scene.hud.result->message, scene.message()) << c.why;
        EXPECT_EQ(scene.hud.result->note, c.note) << c.why;
        EXPECT_EQ(scene.saved().size(), c.savedCount) << c.why;
        EXPECT_TRUE(scene.hud.isPresented()) << c.why;
        scene.actor.advance(10);
        EXPECT_FALSE(scene.hud.isPresented()) << c.why << ": in the way for ever";
        EXPECT_EQ(scene.phase() == Kind::unavailable, c.phase == Kind::unavailable)
            << c.why << ": the message stands until the next press";
        EXPECT_EQ(scene.actor.pendingTimers(), 0U) << c.why;
        // And nothing is stuck.
        c.given(scene);
        scene.input.failing.reset();
        scene.recogniser.error.reset();
        scene.words = "again";
        scene.keyDown();
        EXPECT_EQ(scene.phase(), Kind::recording) << c.why;
    }
}

TEST_F(MacDictationFaultTest, aFailedStartIsNotSpokenOverByTheRelease) {
    input.failing = FakeAudioInput::Step::start;
    startWithChord();
    keyDown();
    const auto reason = message();
    EXPECT_EQ(phase(), Kind::unavailable);
    EXPECT_EQ(controller->_interaction.get(), std::nullopt);
    actor.advance(0.1);
    keyUp();
    actor.advance(10);
    EXPECT_EQ(message(), reason);
    EXPECT_EQ(recogniser.finishes, 0);
}

TEST_F(MacDictationFaultTest, aMicrophoneThatGoesAwayEndsWithWhatWasSaid) {
    startWithChord();
    keyDown();
    actor.advance(1);
    input.onEnded(MacAudioInputError::selectedInputUnavailable);
    actor.advance(0.1);
    EXPECT_EQ(landed, std::vector<std::string>{"Hello there."});
    ASSERT_TRUE(hud.result && hud.result->note);
    EXPECT_EQ(*hud.result->note, nimbe::message(MacAudioInputError::selectedInputUnavailable));
    keyUp();
    actor.advance(10);
    EXPECT_EQ(landed.size(), 1U);
    EXPECT_EQ(phase(), Kind::idle);
}

TEST_F(MacDictationFaultTest, aMicrophoneThatGoesAwayBeforeAWordWasSaid) {
    words = "";
    startWithChord();
    keyDown();
    input.onEnded(MacAudioInputError::selectedInputUnavailable);
    actor.advance(0.1);
    EXPECT_EQ(phase(), Kind::unavailable);
    EXPECT_EQ(message(), nimbe::message(MacAudioInputError::selectedInputUnavailable));
}

TEST_F(MacDictationFaultTest, aRecogniserThatFailsMidwayEndsWithWhatItHad) {
    startWithChord();
    keyDown();
    recogniser.hear("First words.", true);
    actor.runPosted();
    recogniser.onFinish = [] {
    };
    recogniser.results->yield(failure(std::string("The recogniser has failed.")));
    actor.advance(0.1);
    EXPECT_EQ(landed, std::vector<std::string>{"First words."});
    EXPECT_EQ(hud.result->note, "The recogniser has failed.");
    keyUp();
    actor.advance(10);
    EXPECT_EQ(phase(), Kind::idle);
}

TEST_F(MacDictationFaultTest, onlyPastedTextMakesASound) {
    (void)defaults.set(InsertSettings::insertSoundEnabled, true);
    trust.trusted = false;
    startWithChord();
    keyDown();
    actor.advance(1);
    keyUp();
    EXPECT_EQ(message(), "Copied to clipboard");
    EXPECT_TRUE(sound.played.empty());
}

TEST_F(MacDictationFaultTest, aMessageThatIsReadDoesNotCloseTheNextOverlay) {
    words = "";
    startWithChord();
    keyDown();
    actor.advance(1);
    keyUp();
    ASSERT_EQ(phase(), Kind::unavailable);
    actor.advance(3); // it has gone on reading for longer than a result stands
    keyDown();
    actor.advance(3);
    EXPECT_TRUE(hud.isPresented());
    EXPECT_EQ(phase(), Kind::recording);
}

TEST_F(MacDictationFaultTest, anUnwritableHistoryKeepsNoTextBack) {
    startWithChord();
    defaults.refusesWrites = true;
    keyDown();
    actor.advance(1);
    keyUp();
    EXPECT_EQ(landed, std::vector<std::string>{"Hello there."});
    EXPECT_EQ(message(), "Pasted into Editor");
    ASSERT_TRUE(controller->_notice.get());
    EXPECT_EQ(hud.result->note, controller->_notice.get());
    actor.advance(1.2);
    EXPECT_EQ(phase(), Kind::idle);
    EXPECT_TRUE(hud.isPresented()) << "there is something to read";
    actor.advance(2.8);
    EXPECT_FALSE(hud.isPresented());
    defaults.refusesWrites = false;
    keyDown();
    EXPECT_EQ(controller->_notice.get(), std::nullopt);
}

TEST_F(MacDictationFaultTest, aHistoryThatTakesItsTimeKeepsNoTextBack) {
    struct Case {
        const char* why;
        Seconds answersAfter;
        Seconds landsAfter;
        std::optional<std::string> note;
    };
    const Case cases[] = {
        {"it is saved before it is delivered", 0.2, 0.2, {}},
        {"slow: delivered first", 1.2, 0.3, {}},
        {"a disk that hangs", 60, 0.3, "Not saved in your history yet."},
    };
    for (const auto& c : cases) {
        DictationScene scene;
        std::vector<std::function<void()>> jobs;
        scene.inBackground = [&](std::function<void()> job) {
            jobs.push_back(std::move(job));
        };
        scene.startWithChord();
        scene.keyDown();
        scene.actor.advance(1);
        scene.keyUp();
        ASSERT_EQ(jobs.size(), 1U) << c.why;
        const Token answer = scene.actor.schedule(c.answersAfter, jobs[0]);
        scene.actor.advance(c.landsAfter - 0.01);
        EXPECT_EQ(scene.landed.size(), 0U) << c.why;
        scene.actor.advance(0.02);
        EXPECT_EQ(scene.landed.size(), 1U) << c.why;
        scene.actor.advance(1);
        EXPECT_EQ(scene.message(), "Pasted into Editor") << c.why;
        EXPECT_EQ(scene.hud.result->note, c.note) << c.why;
        scene.actor.advance(60);
        EXPECT_EQ(scene.saved().size(), 1U) << c.why;
        EXPECT_EQ(scene.phase(), Kind::idle) << c.why;
    }
}

TEST_F(MacDictationFaultTest, whatIsBeingSavedOutlivesTheController) {
    std::vector<std::function<void()>> jobs;
    inBackground = [&](std::function<void()> job) {
        jobs.push_back(std::move(job));
    };
    startWithChord();
    keyDown();
    actor.advance(1);
    keyUp();
    controller.reset();
    ASSERT_EQ(jobs.size(), 1U);
    jobs[0]();
    actor.advance(5);
    EXPECT_EQ(saved(), std::vector<std::string>{"Hello there."});
}

TEST_F(MacDictationFaultTest, lateStepsOfAnOlderRunDoNothing) {
    startWithChord();
    keyDown();
    actor.advance(1);
    keyUp();
    ASSERT_EQ(phase(), Kind::done);
    actor.advance(1.1);
    keyDown(); // before the first one's result has gone
    actor.advance(0.2);
    EXPECT_EQ(phase(), Kind::recording);
    EXPECT_TRUE(hud.isPresented());
    EXPECT_EQ(controller->_targetName.get(), "Editor");
}

TEST_F(MacDictationFaultTest, aPressWhileAnotherTextIsFinishedIsIgnored) {
    startWithChord();
    recogniser.onFinish = [] {
    }; // for its two seconds
    keyDown();
    recogniser.hear("Slow words.", true);
    actor.advance(1);
    keyUp();
    EXPECT_EQ(phase(), Kind::finalizing);
    keyDown();
    keyUp();
    EXPECT_FALSE(controller->startLatched());
    EXPECT_FALSE(controller->toggle());
    EXPECT_FALSE(controller->cancelRecording());
    actor.advance(2);
    EXPECT_EQ(landed, std::vector<std::string>{"Slow words."});
    actor.advance(5);
    EXPECT_EQ(recogniser.starts, 1);
}

TEST_F(MacDictationFaultTest, aModelThatIsStillLoadingIsWaitedFor) {
    isModelReady = false;
    startWithChord();
    keyDown();
    actor.advance(1);
    keyUp();
    EXPECT_EQ(input.tap, nullptr) << "it listens on after the key was let go";
    actor.advance(30);
    EXPECT_EQ(phase(), Kind::finalizing);
    EXPECT_EQ(recogniser.finishes, 0);
    ASSERT_EQ(waitingForModel.size(), 1U);
    waitingForModel[0]();
    actor.advance(0.1);
    EXPECT_EQ(landed.size(), 1U);

    // But not for ever.
    actor.advance(10);
    keyDown();
    actor.advance(1);
    keyUp();
    actor.advance(60.1);
    EXPECT_EQ(landed.size(), 2U);
}

TEST_F(MacDictationFaultTest, otherProgramsSteerIt) {
    startWithChord();
    EXPECT_FALSE(controller->stopRecording());
    EXPECT_FALSE(controller->cancelRecording());
    EXPECT_TRUE(controller->startLatched());
    actor.advance(20);
    EXPECT_EQ(phase(), Kind::recording);
    EXPECT_FALSE(controller->startLatched());
    EXPECT_TRUE(controller->toggle());
    actor.advance(0.1);
    EXPECT_EQ(landed.size(), 1U);

    actor.advance(5);
    EXPECT_TRUE(controller->toggle());
    actor.advance(1);
    EXPECT_TRUE(controller->cancelRecording());
    EXPECT_EQ(phase(), Kind::idle);
    EXPECT_FALSE(hud.isPresented());
    EXPECT_EQ(input.tap, nullptr) << "it still listens";
    actor.advance(10);
    EXPECT_EQ(landed.size(), 1U);
    EXPECT_EQ(saved().size(), 1U);

    // A hold is stopped as well; its release then means nothing.
    keyDown();
    actor.advance(1);
    EXPECT_TRUE(controller->stopRecording());
    keyUp();
    actor.advance(5);
    EXPECT_EQ(landed.size(), 2U);
    EXPECT_EQ(phase(), Kind::idle);
}

TEST_F(MacDictationFaultTest, cancelledWhileTheMicrophoneOpens) {
    input.hanging = FakeAudioInput::Step::start;
    startWithChord();
    keyDown();
    EXPECT_EQ(phase(), Kind::preparing);
    EXPECT_TRUE(controller->cancelRecording());
    actor.advance(1);
    EXPECT_EQ(phase(), Kind::idle) << message();
    keyUp();
    actor.advance(5);
    EXPECT_EQ(phase(), Kind::idle) << message();
}

TEST_F(MacDictationFaultTest, fiftyPressesASecondForTenSeconds) {
    startWithChord();
    for (int i = 0; i < 500; ++i) {
        keyDown();
        actor.advance(0.01);
        keyUp();
        actor.advance(0.01);
    }
    actor.advance(30);
    EXPECT_TRUE(phase() == Kind::idle || phase() == Kind::recording);
    if (phase() == Kind::recording) {
        EXPECT_TRUE(controller->toggle());
    }
    actor.advance(30);
    EXPECT_EQ(phase(), Kind::idle) << message();
    EXPECT_EQ(controller->_interaction.get(), std::nullopt);
    EXPECT_EQ(saved().size(), std::min<std::size_t>(landed.size(), 100)); // the history's cap
    EXPECT_EQ(input.tap, nullptr);
    EXPECT_EQ(actor.pendingTimers(), 0U);
}

TEST_F(MacDictationFaultTest, tasksEndQuietlyWithoutTheirOwner) {
    for (const double when : {0.0, 0.3, 1.0, 1.5}) {
        DictationScene scene;
        scene.startWithChord();
        if (when == 1.0)
            scene.recogniser.onFinish = [] {
            };
        scene.keyDown();
        scene.actor.advance(when);
        if (when >= 0.3) scene.keyUp();
        scene.controller.reset();
        scene.actor.advance(10);
        EXPECT_EQ(scene.hud.isPresented(), false) << when;
    }
}

} // namespace nimbe
