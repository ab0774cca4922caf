#pragma once

#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include "Fakes/FakeAudioConverters.h"
#include "Fakes/FakeAudioInput.h"
#include "Fakes/FakeCaptureHUD.h"
#include "Fakes/FakeDocumentOpener.h"
#include "Fakes/FakeFolderPicker.h"
#include "Fakes/FakeHotKeys.h"
#include "Fakes/FakeHttpClient.h"
#include "Fakes/FakeKeyEventSource.h"
#include "Fakes/FakeKeyPoster.h"
#include "Fakes/FakeLanguageModel.h"
#include "Fakes/FakeLogSink.h"
#include "Fakes/FakePasteboard.h"
#include "Fakes/FakeSpeechAssets.h"
#include "Fakes/FakeTextProcessor.h"
#include "Fakes/FakeTranscriptionEngine.h"
#include "Fakes/FakeTransformProvider.h"
#include "Fakes/FakeWorkspace.h"
#include "Fakes/MemoryUserDefaults.h"
#include "NimbeUI/DesktopServices.h"
#include "PlatformStorage/AtomicConfigFiles.h"
#include "PlatformStorage/AtomicFileWriter.h"
#include "Support/TemporaryFolder.h"

namespace nimbe {

/// Keys by the numbers that a test gives them.
class FakeKeyNames final : public KeyNames {
public:
    std::map<std::uint32_t, std::string> names;

    std::optional<std::string> name(std::uint32_t scanCode) override {
        const auto found = names.find(scanCode);
        if (found == names.end()) return std::nullopt;
        return found->second;
    }
};

/// A login item that may refuse.
class FakeLoginItem final : public LoginItem {
public:
    bool isOn = false;
    bool isStubborn = false;

    [[nodiscard]] bool isEnabled() const override { return isOn; }
    [[nodiscard]] bool setEnabled(bool isEnabled) override {
        if (isStubborn) return false;
        isOn = isEnabled;
        return true;
    }
};

class SilentSound final : public SystemSound {
public:
    void play(std::string_view /*name*/) override {}
};

/// The engine below, with what it leans on.
struct EngineScene {
    explicit EngineScene(MainActor& actor) : actor(actor) {}

    MainActor& actor;
    FakeLogSink log;
    MemoryUserDefaults defaults;
    DesktopSurroundings surroundings;
    FakeAudioInput input;
    FakeAudioConverters converters;
    AudioCapture capture{input, converters, defaults, log};
    FakeTranscriptionEngine recognizer{actor};
    FakeSpeechAssets assets;
    DictationEngine engine{actor, capture, recognizer, assets, log};
};

/// All that stands behind the interface, with stand-ins for the platform. The overlay is
/// whichever the test gives.
struct UIScene {
    UIScene(EngineScene& below, CaptureHUD& hud)
        : actor(below.actor), hud(hud), defaults(below.defaults), surroundings(below.surroundings),
          engine(below.engine), input(below.input) {}

    MainActor& actor;
    CaptureHUD& hud;
    FakeLogSink log;
    MemoryUserDefaults& defaults;
    DesktopSurroundings& surroundings;
    DictationEngine& engine;
    FakeKeyEventSource keys;
    FakeAccessibilityTrust trust;
    FakeApplicationLaunch launch;
    FakeWorkspace workspace{actor};
    FakePasteboard pasteboard;
    FakePasteboard selection;
    FakeKeyPoster poster;
    AXInserter inserter{{actor, trust, workspace, pasteboard, selection, poster, defaults, log}};
    FakeHotKeys hotKeys;
    KeyboardShortcuts shortcuts{hotKeys, defaults, log};
    SilentSound sound;
    FakeTextProcessor processor;
    DictationHistory history{defaults, log};
    SyncStore* syncStore = nullptr; // where a test gives one
    HistoryLibrary dictations{history, defaults, [this](auto) {
                                  return HistoryLibrary::Synced{syncStore};
                              }};
    FakeAudioInput& input;
    MacAudioDeviceStore microphones{actor, input, defaults, log};
    FakeKeyNames keyNames;
    FakeLanguageModel model;
    FakeTransformProvider transforms;
    FakeLoginItem loginItem;
    FakeHttpClient http;
    FakeDocumentOpener opener;
    TemporaryFolder folder;
    AtomicFileWriter files;
    CrashSentinelController crashes{{files, defaults, opener, log,
        folder.path / "launch-sentinel.json", {}, "Files", "help@example.org"}};
    std::shared_ptr<UpdateChecker> updates =
        UpdateChecker::create({actor, http, defaults, opener, log, BuildStamp{"0.1.0", "1"}});
    std::shared_ptr<MacDictationController> dictation =
        MacDictationController::create({actor, engine, dictations, inserter, workspace, shortcuts,
            hud, sound, processor, defaults, log, {actor, keys, trust, launch}, [] { return 0.4; },
            [](const std::function<void()>& ready) {
                ready();
            }});
    FakeFolderPicker picker;
    std::shared_ptr<ObsidianExporter> exporter =
        ObsidianExporter::create({actor, defaults, picker, files, log});
    AtomicConfigFiles configFiles;
    MCPRegistration registration{
        configFiles, MCPRegistration::Place::below(folder.path, "/opt/nimbe/bin/nimbe"), log};
    std::shared_ptr<MCPSetup> clients = MCPSetup::create({actor, pasteboard, registration, log});
    int quits = 0;

    [[nodiscard]] DesktopServices services() {
        return {actor, *dictation, dictations, microphones, shortcuts, keyNames, model, transforms,
            defaults, *updates, crashes, loginItem, *exporter, *clients, pasteboard, workspace,
            surroundings, log, [this] {
                ++quits;
            }};
    }
};

} // namespace nimbe
