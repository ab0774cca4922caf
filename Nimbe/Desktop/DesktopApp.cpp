#include "DesktopApp.h"

#include <QtGui/QStyleHints>
#include <QtWidgets/QApplication>
#include <cstdlib>
#include <iostream>

#include "NimbeApp/AppSettings.h"
#include "NimbeApp/CrashSentinelController.h"
#include "NimbeApp/MCPSetup.h"
#include "NimbeApp/MacAppDelegate.h"
#include "NimbeApp/MacDictationController.h"
#include "NimbeApp/ObsidianExporter.h"
#include "NimbeApp/UpdateChecker.h"
#include "NimbeEngine/Audio/MacAudioDeviceStore.h"
#include "NimbeEngine/Cleanup/MacCleanupPolicy.h"
#include "NimbeEngine/Cleanup/OnDeviceProcessor.h"
#include "NimbeEngine/Speech/AppleSpeechEngine.h"
#include "NimbeEngine/Speech/LocalSpeechEngine.h"
#include "NimbeEngine/Speech/SpeechModelAssets.h"
#include "NimbeEngine/Transform/OnDeviceTransformer.h"
#include "NimbeEngine/Transform/PromptFetcher.h"
#include "NimbeGround/SyncedStore.h"
#include "NimbeLoader/ProgramPlace.h"
#include "NimbeUI/DesktopUI.h"
#include "NimbeUI/QuickCaptureHUD.h"
#include "PlatformDesktop/BusRemoteClient.h"
#include "PlatformDesktop/BusRemoteControl.h"
#include "PlatformDesktop/CrashReportFolders.h"
#include "PlatformDesktop/SessionEnd.h"
#include "PlatformDesktop/XdgDocumentOpener.h"
#include "PlatformDesktop/XdgLoginItem.h"
#include "PlatformHttp/CurlHttpClient.h"
#include "PlatformLanguageModel/ChatCompletionsModel.h"
#include "PlatformLog/JournalLog.h"
#include "PlatformQt/QtFolderPicker.h"
#include "PlatformQt/QtMainActor.h"
#include "PlatformQt/QtSurroundings.h"
#include "PlatformQt/XkbKeyNames.h"
#include "PlatformSecrets/KeyringUnlock.h"
#include "PlatformStorage/AtomicConfigFiles.h"
#include "PlatformStorage/AtomicFileWriter.h"
#include "PlatformStorage/FileLock.h"
#include "PlatformSystemSound/CanberraSystemSound.h"
#include "PlatformX11/XcbHotKeys.h"
#include "PlatformX11/XcbKeyEventSource.h"
#include "PlatformX11/XcbKeyPoster.h"
#include "PlatformX11/XcbLoop.h"
#include "PlatformX11/XcbPasteboard.h"
#include "PlatformX11/XcbWorkspace.h"
#include "SerialThread.h"

namespace nimbe {
namespace {

using Phase = MacDictationController::Phase;

/// Where crashes of ours may be reported to.
constexpr const char* feedbackAddress = "feedback@nimbehq.com";

std::string phaseName(Phase::Kind kind) {
    switch (kind) {
    case Phase::Kind::idle: return "idle";
    case Phase::Kind::preparing: return "preparing";
    case Phase::Kind::recording: return "recording";
    case Phase::Kind::finalizing: return "finalizing";
    case Phase::Kind::done: return "done";
    case Phase::Kind::unavailable: return "unavailable";
    }
    return {};
}

/// From the microphone to text.
struct Hearing {
    Hearing(Ground& ground, MainActor& actor, HearingModule& module)
        : input(module.makeAudioInput(actor, ground.log)),
          models(module.makeSpeechModels(actor, modelFolders(ground.folders), ground.log)),
          assets(actor, *models, *SpeechModel::named(SpeechModel::defaultID),
              ground.defaults.get(speechModelBaseAddress)),
          capture(*input, module.audioConverters(), ground.defaults, ground.log),
          recogniser(
              actor, module.speechRuntime(), [this] { return assets.folder(); }, ground.log),
          speech(recogniser, assets, ground.log),
          engine(actor, capture, speech, assets, ground.log),
          devices(actor, *input, ground.defaults, ground.log) {}

    std::unique_ptr<AudioInput> input;
    std::unique_ptr<SpeechModels> models;
    SpeechModelAssets assets;
    AudioCapture capture;
    LocalSpeechEngine recogniser;
    AppleSpeechEngine speech;
    DictationEngine engine;
    MacAudioDeviceStore devices;

    /// Loads the model in the background, so that no dictation waits for it.
    void preload() {
        recogniser.preload([this] {
            isReady = true;
            for (const auto& waiting : std::exchange(waitingForModel, {})) waiting();
        });
    }
    void whenReady(std::function<void()> onReady) {
        if (isReady)
            onReady();
        else
            waitingForModel.push_back(std::move(onReady));
    }

private:
    bool isReady = false;
    std::vector<std::function<void()>> waitingForModel;
};

/// Keys, windows and clipboards of the display.
struct Display {
    Display(MainActor& actor, LogSink& log)
        : keys(XcbKeyEventSource::connect(log)), hotKeys(XcbHotKeys::connect(actor, log)),
          workspace(XcbWorkspace::connect(actor, log)), poster(XcbKeyPoster::connect(log)),
          clipboard(XcbPasteboard::create(actor, "CLIPBOARD", log)),
          selection(XcbPasteboard::create(actor, "PRIMARY", log)) {}

    std::unique_ptr<XcbKeyEventSource> keys;
    std::unique_ptr<XcbHotKeys> hotKeys;
    std::unique_ptr<XcbWorkspace> workspace;
    std::unique_ptr<XcbKeyPoster> poster;
    std::unique_ptr<XcbPasteboard> clipboard;
    std::unique_ptr<XcbPasteboard> selection;

    [[nodiscard]] bool isComplete() const {
        return keys && hotKeys && workspace && poster && clipboard && selection;
    }
};

/// All of the application, in the order in which it leans on each other.
class DesktopApp {
public:
    DesktopApp(Ground& ground, QtMainActor& actor, BusRemoteControl& remote, Display& display,
        CrashSentinelController& sentinel, DocumentOpener& opener,
        const DesktopModule::Launch& launch, bool isForcedLocalOnly)
        : ground(ground), actor(actor), remote(remote), sentinel(sentinel),
          delegate(actor, ground.log), history(ground), synced(ground, history, isForcedLocalOnly),
          library(
              history.history, ground.defaults, [this](auto need) { return synced.open(need); }),
          hearing(ground, actor, launch.hearing),
          shortcuts(*display.hotKeys, ground.defaults, ground.log),
          inserter({actor, *display.poster, *display.workspace, *display.clipboard,
              *display.selection, *display.poster, ground.defaults, ground.log}),
          hud({hearing.engine, ground.defaults, surroundings, ground.log}), sound(ground.log),
          loginItem(XdgLoginItem::Places::find(ground.folders, executablePath()), ground.log),
          http(actor), updates(UpdateChecker::create({actor, http, ground.defaults, opener,
                           ground.log, {std::string(NIMBE_VERSION), std::string(NIMBE_BUILD)}})),
          model(actor, http, ground.defaults, ground.log), processor(actor, model, ground.defaults),
          prompts(ground.defaults, ground.log), transformer(model, prompts, ground.defaults),
          promptFetcher(PromptFetcher::create({actor, http, ground.defaults, prompts, ground.log})),
          exporter(ObsidianExporter::create({actor, ground.defaults, picker, files, ground.log})),
          registration(configFiles, clientPlace(ground.folders), ground.log),
          clients(MCPSetup::create({actor, *display.clipboard, registration, ground.log})),
          controller(MacDictationController::create(dictationPlatform(display))),
          ui(services(display), hud) {}

    /// Before the event loop.
    void start(const LaunchOptions& options) {
        isHidden = options.hidden;
        hearing.preload();
        // The history's first reading asks the keyring, which may take its time.
        background.post([this] {
            (void)history.history.entries();
            library.fill();
        });
        controller->start();
        phases = controller->_phase.observe([this](const auto&) { remote.statusChanged(); });
        remote.serve(
            {[this] { return controller->toggle(); }, [this] { return controller->startLatched(); },
                [this] { return controller->stopRecording(); },
                [this] { return controller->cancelRecording(); }, [this] { return status(); },
                [this] { ui.activate(); },
                [this] {
                    terminate();
                }});
        actor.post([this] { finishLaunching(); });
    }

    /// Once the event loop runs.
    void terminate() {
        delegate.terminate(*controller, inserter, [] { QCoreApplication::quit(); });
    }

    ~DesktopApp() = default;
    DesktopApp(const DesktopApp&) = delete;
    DesktopApp& operator=(const DesktopApp&) = delete;

private:
    Ground& ground;
    QtMainActor& actor;
    BusRemoteControl& remote;
    CrashSentinelController& sentinel;
    MacAppDelegate delegate;
    HistoryGround history;
    SyncedStore synced;
    HistoryLibrary library;
    SerialThread background; // uses the library
    Hearing hearing;
    KeyboardShortcuts shortcuts;
    AXInserter inserter;
    DesktopSurroundings surroundings;
    QtSurroundings watching{surroundings};
    QuickCaptureHUD hud;
    CanberraSystemSound sound;
    XdgLoginItem loginItem;
    CurlHttpClient http;
    std::shared_ptr<UpdateChecker> updates;
    ChatCompletionsModel model;
    OnDeviceProcessor processor;
    PromptRegistry prompts;
    OnDeviceTransformer transformer;
    std::shared_ptr<PromptFetcher> promptFetcher;
    QtFolderPicker picker{actor};
    AtomicFileWriter files;
    std::shared_ptr<ObsidianExporter> exporter;
    AtomicConfigFiles configFiles;
    MCPRegistration registration;
    std::shared_ptr<MCPSetup> clients;
    std::shared_ptr<MacDictationController> controller;
    XkbKeyNames keyNames;
    DesktopUI ui;
    Token unlocking;
    Token phases;
    bool isHidden = false;

    /// Where the client looks, whatever NIMBE_HOME says.
    [[nodiscard]] static MCPRegistration::Place clientPlace(const DataFolders& folders) {
        const auto config = DataFolders::commonConfig().value_or(folders.config);
        return MCPRegistration::Place::below(config, executablePath());
    }

    [[nodiscard]] MacDictationController::Platform dictationPlatform(Display& display) {
        const auto doubleClickInterval = [] {
            return QGuiApplication::styleHints()->mouseDoubleClickInterval() / 1000.0;
        };
        const auto whenReady = [this](std::function<void()> onReady) {
            hearing.whenReady(std::move(onReady));
        };
        const auto ownField = [this](const std::string& text) {
            return ui.take(text);
        };
        const auto inBackground = [this](std::function<void()> job) {
            background.post(std::move(job));
        };
        const auto prewarm = [this](DictationMode mode) {
            processor.prewarm(mode);
        };
        const auto onSaved = [this](const DictationEntry& entry) {
            exporter->autoExport(entry);
        };
        return {actor, hearing.engine, library, inserter, *display.workspace, shortcuts, hud, sound,
            processor, ground.defaults, ground.log, {actor, *display.keys, *display.keys, delegate},
            doubleClickInterval, whenReady, ownField, inBackground, prewarm, onSaved};
    }

    [[nodiscard]] DesktopServices services(Display& display) {
        const auto quit = [this] {
            terminate();
        };
        const auto inBackground = [this](std::function<void()> job) {
            background.post(std::move(job));
        };
        return {actor, *controller, library, hearing.devices, shortcuts, keyNames, model,
            transformer, ground.defaults, *updates, sentinel, loginItem, *exporter, *clients,
            *display.clipboard, *display.workspace, surroundings, ground.log, quit, inBackground};
    }

    void finishLaunching() {
        ui.start(isHidden);
        loginItem.followProgram();
        delegate.applicationDidFinishLaunching();
        updates->start();
        promptFetcher->start();
        // The first dictation shall find a model that is loaded.
        if (ground.defaults.get(MacCleanupPolicy::aiCleanupEnabled))
            processor.prewarm(controller->_mode.get());
        Log(ground.log, "app").info("app: launched");
        unlockKeyring();
    }

    /// The history's key may be in a keyring that is locked.
    void unlockKeyring() {
        const auto place = ground.defaults.get(LocalKeychainKeyStore::place);
        if (ground.folders.isPortable || place == LocalKeychainKeyStore::inFile) return;
        unlocking =
            KeyringUnlock::request(actor, ground.log, [this](KeyringUnlock::Outcome outcome) {
                if (outcome == KeyringUnlock::Outcome::unlocked) ui.refreshHistory();
            });
    }

    [[nodiscard]] RemoteStatus status() const {
        const auto& phase = controller->_phase.get();
        RemoteStatus status{phaseName(phase.kind)};
        if (!phase.message.empty()) status.message = phase.message;
        status.target = controller->_targetName.get();
        status.isLatched =
            controller->_interaction.get() == MacDictationController::Interaction::latched;
        return status;
    }
};

/// A display that goes away, as at the end of a session, makes the toolkit end the process
/// by std::exit(): that is no crash.
CrashSentinelController* sentinelOfProcess = nullptr;
void endedByToolkit() {
    if (!sentinelOfProcess) return;
    MacAppDelegate::applicationWillTerminate(*sentinelOfProcess);
    std::_Exit(EXIT_FAILURE); // other threads still use what would be destroyed now
}

int withoutDisplay() {
    std::cerr << "nimbe: The X11 display does not answer.\n";
    return EXIT_FAILURE;
}

} // namespace

int runDesktopApp(const DesktopModule::Launch& launch, DataFolders folders) {
    const auto log = systemLog(LogLevel::info);
    // The toolkit ends the process with a dump where it finds no display.
    if (!XcbLoop::connect(*log, "nimbe-start")) return withoutDisplay();
    // The keys and windows are those of the X server, so the toolkit's must be, whatever
    // the session tells programs to use.
    ::setenv("QT_QPA_PLATFORM", "xcb", 1);
    prepareDesktopUI();
    QApplication application(launch.argc, launch.argv);
    QApplication::setApplicationName("Nimbe");
    QApplication::setDesktopFileName("com.nimbehq.Nimbe");
    QApplication::setQuitOnLastWindowClosed(false);

    QtMainActor actor;
    BusRemoteControl remote(actor, *log);
    const auto name = remote.takeName();
    if (name == BusRemoteControl::Name::taken) {
        BusRemoteClient first;
        if (const auto told = first.activate(); !told) {
            std::cerr << "nimbe: " << told.error().message() << "\n";
            return EXIT_FAILURE;
        }
        return EXIT_SUCCESS;
    }

    // Without a bus a lock stands in for its name, by which nobody can be told anything.
    std::optional<FileLock> instance;
    if (name == BusRemoteControl::Name::noBus) {
        const auto file = folders.data / "instance.lock";
        instance = FileLock::acquire(file, 0);
        if (!instance && std::filesystem::exists(file)) {
            std::cerr << "nimbe: Nimbe is running already.\n";
            return EXIT_SUCCESS;
        }
    }

    Ground ground(std::move(folders), *log);
    AtomicFileWriter files;
    XdgDocumentOpener opener(*log);
    CrashSentinelController sentinel(
        {files, ground.defaults, opener, *log, ground.folders.data / "launch-sentinel.json",
            crashReportFolders(executablePath()), "the file manager", feedbackAddress});
    // Before there is a sentinel, which a signal's own way of ending would leave behind.
    DesktopApp* running = nullptr;
    const auto end = watchSessionEnd(actor, [&running] {
        if (running) running->terminate();
    });
    sentinel.assessLaunch();
    if (launch.options.resetOnboarding)
        (void)ground.defaults.remove(AppSettings::onboardingCompleted);
    launch.options.report(*log);
    const bool isForcedOnce = takeForceLocalOnlyOnce(ground.defaults);
    if (isForcedOnce)
        Log(*log, "app").info("forceLocalOnlyOnce: this launch goes without the cloud");

    Display display(actor, *log);
    if (!display.isComplete()) {
        sentinel.applicationWillTerminate();
        return withoutDisplay();
    }
    sentinelOfProcess = &sentinel;
    (void)std::atexit(endedByToolkit);
    int status = EXIT_SUCCESS;
    {
        DesktopApp app(ground, actor, remote, display, sentinel, opener, launch,
            launch.options.forceLocalOnly || isForcedOnce);
        running = &app;
        app.start(launch.options);
        status = QApplication::exec();
        running = nullptr;
    }
    sentinelOfProcess = nullptr;
    MacAppDelegate::applicationWillTerminate(sentinel);
    return status;
}

} // namespace nimbe
