#include "ShellWiring.h"

#include <optional>
#include <ostream>

#include "EndOfInput.h"
#include "Interrupt.h"
#include "NimbeApp/MCPRegistration.h"
#include "NimbeApp/WebModule.h"
#include "NimbeEngine/Speech/AppleSpeechEngine.h"
#include "NimbeEngine/Speech/LocalSpeechEngine.h"
#include "NimbeEngine/Speech/SpeechModelAssets.h"
#include "NimbeEngine/Transform/OnDeviceTransformer.h"
#include "NimbeEngine/Transform/PromptRegistry.h"
#include "NimbeGround/Ground.h"
#include "NimbeGround/LoadedInstance.h"
#include "NimbeGround/SyncedStore.h"
#include "NimbeLoader/ModuleLoader.h"
#include "NimbeLoader/ProgramPlace.h"
#include "NimbeShell/ShellLog.h"
#include "PlatformLanguageModel/ChatCompletionsModel.h"
#include "PlatformLog/JournalLog.h"
#include "PlatformStorage/AtomicConfigFiles.h"
#include "PlatformStorage/AtomicFileWriter.h"
#include "Terminal.h"

namespace nimbe {
namespace {

struct HistoryStack {
    explicit HistoryStack(Ground& ground)
        : ground(ground), synced(ground, this->ground, false),
          library(this->ground.history, ground.defaults,
              [this](auto need) { return synced.open(need); }),
          services{library, embedder, writer, Calendar::user(), Date::now()} {}

    HistoryGround ground;
    SyncedStore synced;
    HistoryLibrary library;
    UnavailableTextEmbedder embedder;
    AtomicFileWriter writer;
    HistoryServices services;
};

/// The lines of sound, speech and the language model: for the journal, where there is one.
/// Whoever runs a verb reads its messages.
class DictationLog final : public LogSink {
public:
    void write(LogLevel level, std::string_view category, std::string_view line) override {
        if (journal) journal->write(level, category, line);
    }

private:
    std::unique_ptr<LogSink> journal = JournalLog::connect();
};

/// What recordings, models and microphones need; the module outlives it.
struct HearingStack {
    HearingStack(Ground& ground, HearingModule& module)
        : input(module.makeAudioInput(loop, dictationLog)),
          models(module.makeSpeechModels(loop, modelFolders(ground.folders), dictationLog)),
          transcription{module.audioFiles(), module.audioConverters(), module.speechRuntime(),
              *models, [] { return interrupt::hasCome(); },
              terminal::isOne(terminal::standardError) ? ProgressBar::Form::bar
                                                       : ProgressBar::Form::none,
              terminal::columns(terminal::standardError)},
          devices{*input, ground.defaults, loop}, modelServices{*models, ground.defaults, loop,
                                                      terminal::isOne(terminal::standardError)
                                                          ? ProgressBar::Form::bar
                                                          : ProgressBar::Form::lines,
                                                      terminal::columns(terminal::standardError)} {}

    RunLoop loop;
    DictationLog dictationLog;
    std::unique_ptr<AudioInput> input;
    std::unique_ptr<SpeechModels> models;
    TranscribeServices transcription;
    DevicesServices devices;
    ModelServices modelServices;
};

/// One dictation from the microphone.
struct ListeningStack {
    ListeningStack(
        Ground& ground, HearingStack& hearing, HearingModule& module, const SpeechModel& model)
        : assets(hearing.loop, *hearing.models, model, ground.defaults.get(speechModelBaseAddress)),
          capture(*hearing.input, module.audioConverters(), ground.defaults, hearing.dictationLog),
          recogniser(
              hearing.loop, module.speechRuntime(), [this] { return assets.folder(); },
              hearing.dictationLog),
          speech(recogniser, assets, hearing.dictationLog),
          engine(hearing.loop, capture, speech, assets, hearing.dictationLog),
          services{engine, *hearing.input, hearing.loop,
              [this](std::function<void()> onReady) { recogniser.preload(std::move(onReady)); },
              [&loop = hearing.loop](
                  std::function<void()> onEnd) { return watchEndOfInput(loop, std::move(onEnd)); },
              terminal::columns(terminal::standardError)} {}

    SpeechModelAssets assets;
    AudioCapture capture;
    LocalSpeechEngine recogniser;
    AppleSpeechEngine speech;
    DictationEngine engine;
    ListenServices services;
};

/// What asks the language model; the module outlives it.
struct LanguageStack {
    LanguageStack(Ground& ground, WebModule& module)
        : http(module.makeHttpClient(loop)), model(loop, *http, ground.defaults, log),
          prompts(ground.defaults, log), transformer(model, prompts, ground.defaults),
          services{loop, model, transformer, ground.defaults,
              [this](std::function<void()> onInterrupt) {
                  return interrupt::observe(loop, std::move(onInterrupt));
              },
              terminal::columns(terminal::standardOutput),
              terminal::columns(terminal::standardError)} {}

    RunLoop loop;
    DictationLog log;
    std::unique_ptr<HttpClient> http;
    ChatCompletionsModel model;
    PromptRegistry prompts;
    OnDeviceTransformer transformer;
    LanguageServices services;
};

/// Without the user's data: it asks for nothing but other programs' settings.
struct MCPStack {
    explicit MCPStack(const std::filesystem::path& config)
        : registration(files, MCPRegistration::Place::below(config, executablePath()), log),
          services{registration, isPortable()} {}

    DictationLog log;
    AtomicConfigFiles files;
    MCPRegistration registration;
    MCPServices services;

private:
    [[nodiscard]] static bool isPortable() {
        const auto folders = DataFolders::find();
        return folders && folders->isPortable;
    }
};

class LinuxShellServices final : public ShellServices {
public:
    const HistoryServices* history(std::ostream& error) override {
        if (!stack && !findGround(error)) return nullptr;
        if (!stack) stack.emplace(*ground);
        return &stack->services;
    }
    UserDefaults* settings(std::ostream& error) override {
        return findGround(error) ? &ground->defaults : nullptr;
    }
    const TranscribeServices* transcription(std::ostream& error) override {
        if (!findHearing(error)) return nullptr;
        interrupt::watch();
        return &hearing->transcription;
    }
    const DevicesServices* devices(std::ostream& error) override {
        return findHearing(error) ? &hearing->devices : nullptr;
    }
    const ModelServices* models(std::ostream& error) override {
        return findHearing(error) ? &hearing->modelServices : nullptr;
    }
    const ListenServices* listening(const std::string& model, std::ostream& error) override {
        const auto* named =
            SpeechModel::named(model.empty() ? SpeechModel::defaultID : std::string_view(model));
        if (!named || !findHearing(error)) return nullptr;
        dictation.emplace(*ground, *hearing, *module, *named);
        return &dictation->services;
    }
    const LanguageServices* language(std::ostream& error) override {
        if (asking) return &asking->services;
        if (!findGround(error)) return nullptr;
        const auto loaded = loadModule<WebModule>("libnimbe-web.so", "nimbeWebModule");
        if (!loaded) {
            error << "nimbe: What Nimbe asks servers with cannot be loaded: " << loaded.error()
                  << "\n";
            return nullptr;
        }
        asking.emplace(*ground, **loaded);
        return &asking->services;
    }
    const MCPServices* mcp(std::ostream& error) override {
        const auto config = DataFolders::commonConfig();
        if (config && !mcpStack) mcpStack.emplace(*config);
        if (!config)
            error << "nimbe: There is no place for settings: HOME names no absolute path.\n";
        return mcpStack ? &mcpStack->services : nullptr;
    }
    RemoteInstance& remote() override { return instance; }

private:
    LoadedInstance instance;
    std::optional<ShellLog> log;
    std::optional<Ground> ground;
    std::optional<HistoryStack> stack;
    HearingModule* module = nullptr;
    std::optional<HearingStack> hearing;
    std::optional<ListeningStack> dictation;
    std::optional<LanguageStack> asking;
    std::optional<MCPStack> mcpStack;

    bool findGround(std::ostream& error) {
        if (ground) return true;
        auto folders = DataFolders::find();
        if (!folders) {
            error << "nimbe: There is no place for your data: HOME names no absolute path.\n";
            return false;
        }
        log.emplace(error);
        ground.emplace(std::move(*folders), *log);
        return true;
    }

    bool findHearing(std::ostream& error) {
        if (hearing) return true;
        if (!findGround(error)) return false;
        const auto loaded = loadModule<HearingModule>("libnimbe-hearing.so", "nimbeHearingModule");
        if (!loaded) {
            error << "nimbe: What Nimbe hears with cannot be loaded: " << loaded.error() << "\n";
            return false;
        }
        module = *loaded;
        hearing.emplace(*ground, *module);
        return true;
    }
};

} // namespace

std::unique_ptr<ShellServices> makeShellServices() {
    return std::make_unique<LinuxShellServices>();
}

} // namespace nimbe
