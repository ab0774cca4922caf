#include <gtest/gtest.h>

#include "Fakes/FakeAudioConverters.h"
#include "Fakes/FakeAudioInput.h"
#include "Fakes/FakeCaptureHUD.h"
#include "Fakes/FakeHotKeys.h"
#include "Fakes/FakeKeyEventSource.h"
#include "Fakes/FakeKeyPoster.h"
#include "Fakes/FakeLogSink.h"
#include "Fakes/FakePasteboard.h"
#include "Fakes/FakeSpeechAssets.h"
#include "Fakes/FakeTranscriptionEngine.h"
#include "Fakes/FakeWorkspace.h"
#include "Fakes/ManualMainActor.h"
#include "Fakes/MemoryUserDefaults.h"
#include "NimbeApp/MacDictationController.h"
#include "NimbeEngine/Speech/AppleSpeechEngine.h"

namespace nimbe {
namespace {

using Kind = MacDictationController::Phase::Kind;
using Interaction = MacDictationController::Interaction;
using Symbol = CaptureHUD::Symbol;

const RunningApplication editor{7, 70, "Editor", "Mousepad", RunningApplication::Frame{1, 2, 3, 4}};
const RunningApplication other{8, 80, "Other", "Other", {}};
const RunningApplication own{1, 1, "Nimbe", "nimbe", {}};
const Shortcut chord{.control = true, .option = true, .key = "d"};

class CountingSound final : public SystemSound {
public:
    std::vector<std::string> played;
    void play(std::string_view name) override { played.emplace_back(name); }
};

/// The whole way from keys to an editor's window, but for the platform.
struct Scene {
    ManualMainActor actor;
    MemoryUserDefaults defaults;
    FakeLogSink log;
    FakeAudioInput input;
    FakeAudioConverters converters;
    FakeSpeechAssets assets;
    FakeTranscriptionEngine recogniser{actor};
    AppleSpeechEngine speech{recogniser, assets, log};
    AudioCapture capture{input, converters, defaults, log};
    DictationEngine engine{actor, capture, speech, assets, log};
    DictationHistory history{defaults, log};
    FakeAccessibilityTrust trust;
    FakeApplicationLaunch launch;
    FakeKeyEventSource keys;
    FakeWorkspace workspace{actor};
    FakePasteboard pasteboard;
    FakePasteboard selection;
    FakeKeyPoster poster;
    AXInserter inserter{{actor, trust, workspace, pasteboard, selection, poster, defaults, log}};
    FakeHotKeys hotKeys;
    KeyboardShortcuts shortcuts{hotKeys, defaults, log};
    FakeCaptureHUD hud;
    CountingSound sound;
    std::vector<std::function<void()>> waitingForModel;
    bool isModelReady = true;
    std::function<void(std::function<void()>)> inBackground = [](const std::function<void()>& job) {
        job();
    };
    std::vector<std::string> landed; // in the window in front
    std::string words = "Hello there.";
    bool hasOwnField = false;
    std::vector<std::string> taken; // by it
    std::vector<DictationEntry> told;
    std::shared_ptr<MacDictationController> controller;

    Scene() {
        workspace.front = editor;
        recogniser.onFinish = [this] {
            if (!words.empty()) recogniser.hear(words, true);
            recogniser.results->finish();
        };
        poster.onPost = [this](PasteChord) {
            landed.push_back(pasteboard.paste().value_or(""));
        };
    }
    void start() {
        controller = MacDictationController::create({actor, engine, history, inserter, workspace,
            shortcuts, hud, sound, defaults, log, {actor, keys, trust, launch}, [] { return 0.4; },
            [this](std::function<void()> ready) {
                if (isModelReady)
                    ready();
                else
                    waitingForModel.push_back(std::move(ready));
            },
            [this](const std::string& text) {
                if (hasOwnField) taken.push_back(text);
                return hasOwnField;
            },
            [this](std::function<void()> job) { inBackground(std::move(job)); },
            [this](const DictationEntry& entry) {
                told.push_back(entry);
            }});
        controller->start();
        actor.runPosted();
    }
    /// With a chord in place of the Option key.
    void startWithChord() {
        ASSERT_TRUE(shortcuts.record("toggleDictation", chord));
        start();
    }
    void keyDown() {
        ASSERT_TRUE(hotKeys.press(chord));
        actor.runPosted();
    }
    void keyUp() {
        ASSERT_TRUE(hotKeys.release(chord));
        actor.runPosted();
    }
    void option(bool isDown) {
        keys.changeFlags({.option = isDown});
        actor.runPosted();
    }
    [[nodiscard]] Kind phase() const { return controller->_phase.get().kind; }
    [[nodiscard]] std::string message() const { return controller->_phase.get().message; }
    [[nodiscard]] std::vector<std::string> saved() {
        std::vector<std::string> texts;
        for (const auto& entry : history.entries()) texts.push_back(entry.text);
        return texts;
    }
};

struct MacDictationControllerTest : testing::Test, Scene {};

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

TEST_F(MacDictationControllerTest, whatEndsInAMessage) {
    struct Case {
        const char* why;
        std::function<void(Scene&)> given;
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
        Scene scene;
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

TEST_F(MacDictationControllerTest, aFailedStartIsNotSpokenOverByTheRelease) {
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

TEST_F(MacDictationControllerTest, aMicrophoneThatGoesAwayEndsWithWhatWasSaid) {
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

TEST_F(MacDictationControllerTest, aMicrophoneThatGoesAwayBeforeAWordWasSaid) {
    words = "";
    startWithChord();
    keyDown();
    input.onEnded(MacAudioInputError::selectedInputUnavailable);
    actor.advance(0.1);
    EXPECT_EQ(phase(), Kind::unavailable);
    EXPECT_EQ(message(), nimbe::message(MacAudioInputError::selectedInputUnavailable));
}

TEST_F(MacDictationControllerTest, aRecogniserThatFailsMidwayEndsWithWhatItHad) {
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

TEST_F(MacDictationControllerTest, onlyPastedTextMakesASound) {
    (void)defaults.set(InsertSettings::insertSoundEnabled, true);
    trust.trusted = false;
    startWithChord();
    keyDown();
    actor.advance(1);
    keyUp();
    EXPECT_EQ(message(), "Copied to clipboard");
    EXPECT_TRUE(sound.played.empty());
}

TEST_F(MacDictationControllerTest, aMessageThatIsReadDoesNotCloseTheNextOverlay) {
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

TEST_F(MacDictationControllerTest, anUnwritableHistoryKeepsNoTextBack) {
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

TEST_F(MacDictationControllerTest, aHistoryThatTakesItsTimeKeepsNoTextBack) {
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
        Scene scene;
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

TEST_F(MacDictationControllerTest, whatIsBeingSavedOutlivesTheController) {
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

TEST_F(MacDictationControllerTest, lateStepsOfAnOlderRunDoNothing) {
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

TEST_F(MacDictationControllerTest, aPressWhileAnotherTextIsFinishedIsIgnored) {
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

TEST_F(MacDictationControllerTest, aModelThatIsStillLoadingIsWaitedFor) {
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

TEST_F(MacDictationControllerTest, otherProgramsSteerIt) {
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

TEST_F(MacDictationControllerTest, cancelledWhileTheMicrophoneOpens) {
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

TEST_F(MacDictationControllerTest, fiftyPressesASecondForTenSeconds) {
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

TEST_F(MacDictationControllerTest, tasksEndQuietlyWithoutTheirOwner) {
    for (const double when : {0.0, 0.3, 1.0, 1.5}) {
        Scene scene;
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
