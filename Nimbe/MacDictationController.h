#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <variant>

#include "Foundation/Published.h"
#include "Foundation/TaskScope.h"
#include "KeyboardShortcuts/KeyboardShortcuts.h"
#include "NimbeApp/AXInserter.h"
#include "NimbeApp/CaptureHUD.h"
#include "NimbeApp/InsertSettings.h"
#include "NimbeApp/OptionKeyMonitor.h"
#include "NimbeApp/SystemSound.h"
#include "NimbeApp/Workspace.h"
#include "NimbeEngine/Cleanup/MacCleanupPolicy.h"
#include "NimbeEngine/Cleanup/TextProcessor.h"
#include "NimbeEngine/Speech/DictationEngine.h"
#include "NimbeSync/HistoryLibrary.h"

namespace nimbe {

/// Owns the one dictation: from the press of a key to text that is saved and delivered.
/// Main actor.
///
/// idle, a press, preparing, recording, a release (or, hands-free, the next press),
/// finalizing, done, and after a while idle. A start that fails and a dictation without
/// words end in unavailable, whose message stands until the next press.
class MacDictationController : public std::enable_shared_from_this<MacDictationController> {
public:
    struct Phase {
        enum class Kind { idle, preparing, recording, finalizing, done, unavailable };
        Kind kind = Kind::idle;
        std::string message = {}; // of done and unavailable

        friend bool operator==(const Phase&, const Phase&) = default;
    };
    enum class Interaction { holding, latched };

    /// Lent; all outlive the controller.
    struct Platform {
        MainActor& actor;
        DictationEngine& engine;
        HistoryLibrary& history;
        AXInserter& inserter;
        Workspace& workspace;
        KeyboardShortcuts& shortcuts;
        CaptureHUD& hud;
        SystemSound& sound;
        TextProcessor& processor; // of the AI cleanup
        UserDefaults& defaults;
        LogSink& log;
        OptionKeyMonitor::Platform optionKey;
        /// Two presses this close are one double click, in seconds.
        std::function<Seconds()> doubleClickInterval;
        /// Calls back, on the main actor, once the recogniser's model is loaded or cannot
        /// be; at once or later.
        std::function<void(std::function<void()>)> whenReady;
        /// Whether a field of the program's own takes the text; asked when one of its
        /// windows was in front at the press.
        std::function<bool(const std::string&)> ownField = [](const std::string&) {
            return false;
        };
        /// Runs each job that it is given off the main thread, one after the other.
        std::function<void(std::function<void()>)> inBackground =
            [](const std::function<void()>& job) {
                job();
            };
        /// A dictation that the processor will be given has begun.
        std::function<void(DictationMode)> prewarm = [](DictationMode) {
        };
        /// What was dictated has been added to the history.
        std::function<void(const DictationEntry&)> onSaved = [](const DictationEntry&) {
        };
    };

    /// The chord that the user may record in place of the Option key.
    static constexpr std::string_view shortcutName = "toggleDictation";

    /// A press at least this long ends with its release.
    static constexpr Seconds holdThreshold = 0.3;
    /// How long the result of a dictation stands.
    static constexpr Seconds resultDuration = 1.2;
    /// How long the overlay shows what one has to read.
    static constexpr Seconds problemDuration = 4;
    /// For a model that is being loaded when a dictation ends.
    static constexpr Seconds modelPatience = 60;
    /// For the history, whose disk or keyring may not answer: before the text is delivered
    /// all the same, and after that until it is told that it is not saved yet.
    static constexpr Seconds savePatience = 0.3;
    static constexpr Seconds savedPatience = 1;

    static constexpr std::string_view nothingSaid =
        "No speech detected. Nimbe dictates in English for now. Try again.";
    static constexpr std::string_view noMicrophone = "Couldn't start the microphone.";

    [[nodiscard]] static std::shared_ptr<MacDictationController> create(Platform platform);

    Published<Phase> _phase;
    Published<std::optional<std::string>> _targetName; // where the text will go
    Published<DictationMode> _mode;
    Published<std::optional<std::string>> _lastInsert; // how the last text was delivered
    DictationHistory& _localHistory;
    Published<std::map<std::string, int>> _outcomes; // how often each outcome came
    Published<std::optional<Interaction>> _interaction;
    Published<std::optional<std::string>> _notice; // the last dictation was not saved, and why
    Published<bool> _isPolishing;                  // the processor has the text

    /// The trigger is the Option key, and no recorded shortcut.
    [[nodiscard]] bool usesOptionKey() const { return optionMonitor != nullptr; }

    /// Installs the triggers. Once.
    void start();

    // The custom shortcut's key-down and key-up.
    void press();
    void release();
    // The Option key's.
    void optionPress();
    void optionDoubleTap();

    // From the menu and from other programs; false: not now.
    bool startLatched();    // records hands-free
    bool stopRecording();   // or, while a text is being polished, has it as the rules make it
    bool cancelRecording(); // forgets what was said
    bool toggle();

    /// The program is about to end: as stopRecording(), and from now on nothing is polished.
    bool wrapUp();

private:
    explicit MacDictationController(Platform platform);

    Platform platform;
    Log log;
    Token hudToken;
    Token shortcutChanges;
    Token activations;
    std::optional<RunningApplication> lastExternalApp; // brought forward last, not this program
    std::optional<RunningApplication> targetApp;       // in front when the press began
    bool beganInOwnWindow = false;
    std::shared_ptr<OptionKeyMonitor> optionMonitor; // while no shortcut is recorded
    std::optional<Seconds> pressDownAt;
    Seconds runBeganAt = 0;
    TaskHandle pendingFinish;
    bool finishing = false;
    bool skipsCleanup = false;
    std::optional<Completion<std::optional<std::string>>> polishing; // absent: go without
    std::int64_t runGeneration = 0;
    TaskScope tasks;

    Token engineProblems;
    bool hasNote = false; // the overlay shows something to read

    using Weak = std::weak_ptr<MacDictationController>;
    void appActivated(const RunningApplication& application);
    void applyTrigger();
    void takeMode();
    void beginRun();
    void startFinish();
    void microphoneFailed();
    void setUnavailable(std::string message);
    void showOutcome(const std::string& outcome);
    /// Absent: it was saved; else why not.
    using Notice = std::optional<std::string>;
    struct Dictated {
        std::string text;
        std::optional<std::string> spoken = {}; // as recognised, where it was polished
    };
    [[nodiscard]] Completion<Notice> save(const Dictated& dictated);
    [[nodiscard]] static Task<std::string> deliver(Weak weakSelf, std::string text);
    [[nodiscard]] static Task<void> startRun(Weak weakSelf, std::int64_t generation);
    [[nodiscard]] static Task<void> finishLater(Weak weakSelf, MainActor& actor, Seconds delay);
    [[nodiscard]] static Task<void> finishRun(Weak weakSelf, std::int64_t generation);
    [[nodiscard]] static Task<Dictated> dictatedText(Weak weakSelf);
    [[nodiscard]] static Task<Dictated> finishedText(Weak weakSelf, std::string raw);
    [[nodiscard]] static Task<Dictated> polishedText(Weak weakSelf, std::string raw);
    bool skipPolishing();
    [[nodiscard]] MacCleanupPolicy::Path cleanupPath() const;
    [[nodiscard]] static Task<void> reset(Weak weakSelf, MainActor& actor, std::int64_t generation);
};

} // namespace nimbe
