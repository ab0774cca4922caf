#pragma once

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
#include "Fakes/FakeTextProcessor.h"
#include "Fakes/FakeTranscriptionEngine.h"
#include "Fakes/FakeWorkspace.h"
#include "Fakes/ManualMainActor.h"
#include "Fakes/MemoryUserDefaults.h"
#include "NimbeApp/MacDictationController.h"
#include "NimbeEngine/Speech/AppleSpeechEngine.h"

namespace nimbe {

inline const RunningApplication editor{
    7, 70, "Editor", "Mousepad", RunningApplication::Frame{1, 2, 3, 4}};
inline const RunningApplication other{8, 80, "Other", "Other", {}};
inline const RunningApplication own{1, 1, "Nimbe", "nimbe", {}};
inline const Shortcut chord{.control = true, .option = true, .key = "d"};

class CountingSound final : public SystemSound {
public:
    std::vector<std::string> played;
    void play(std::string_view name) override { played.emplace_back(name); }
};

/// The whole way from keys to an editor's window, but for the platform.
struct DictationScene {
    using Kind = MacDictationController::Phase::Kind;

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
    SyncStore* syncStore = nullptr; // where a test gives one
    HistoryLibrary library{history, defaults, [this](auto) {
                               return HistoryLibrary::Synced{syncStore};
                           }};
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
    FakeTextProcessor processor;
    std::vector<DictationMode> prewarmed;
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

    DictationScene() {
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
        controller = MacDictationController::create(
            {actor, engine, library, inserter, workspace, shortcuts, hud, sound, processor,
                defaults, log, {actor, keys, trust, launch}, [] { return 0.4; },
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
                [this](DictationMode mode) { prewarmed.push_back(mode); },
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

} // namespace nimbe
