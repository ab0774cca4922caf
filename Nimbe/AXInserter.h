#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Foundation/Log.h"
#include "Foundation/Task.h"
#include "Foundation/UserDefaults.h"
#include "NimbeApp/AccessibilityTrust.h"
#include "NimbeApp/KeyPoster.h"
#include "NimbeApp/PasteRules.h"
#include "NimbeApp/Pasteboard.h"
#include "NimbeApp/Workspace.h"

namespace nimbe {

/// Puts finished text where the user was typing: onto the pasteboard, the application to
/// the front, the paste chord; then the pasteboard is as it was. Whatever fails, the text
/// is on the clipboard. Main actor; outlives its tasks.
class AXInserter {
public:
    /// Lent; all outlive the inserter.
    struct Platform {
        MainActor& actor;
        AccessibilityTrust& trust; // to send keys
        Workspace& workspace;
        Pasteboard& pasteboard; // the clipboard
        Pasteboard& selection;  // what Shift+Insert pastes in terminals
        KeyPoster& keys;
        UserDefaults& defaults;
        LogSink& log;
    };

    /// A delivery begins so with every text that was pasted; all others mean that it is on
    /// the clipboard.
    static constexpr std::string_view pasted = "Pasted";

    /// For an application that is asked to come to the front.
    static constexpr Seconds activationPatience = 1.0;
    static constexpr Seconds activationInterval = 0.03;
    /// From the paste chord until the pasteboard is put back.
    static constexpr Seconds restoreDelay = 0.8;

    explicit AXInserter(Platform platform);
    AXInserter(const AXInserter&) = delete;
    AXInserter& operator=(const AXInserter&) = delete;
    /// Puts back what was on the pasteboard, if that is still to be done, without waiting.
    ~AXInserter();

    /// How it went, for the user.
    [[nodiscard]] Task<std::string> deliver(
        std::string text, std::optional<RunningApplication> target);

    enum class Inserted { pasted, leftOnClipboard };
    /// Without a target the text is only left on the clipboard.
    [[nodiscard]] Task<Inserted> insert(std::string text, std::optional<RunningApplication> target);

    /// Presses what pastes in that application.
    [[nodiscard]] bool postCommandV(const PasteRules::Rule& rule);

    struct Snapshot {
        PasteboardContents pasteboard;
        std::optional<PasteboardContents> selection = {}; // when the paste needs it
    };
    [[nodiscard]] Task<Snapshot> snapshotPasteboard(bool withSelection);

private:
    struct Pending;

    [[nodiscard]] Task<bool> bringForward(RunningApplication target);
    [[nodiscard]] Task<void> copy(std::string text);
    [[nodiscard]] static Task<void> restorePasteboard(
        MainActor& actor, std::shared_ptr<Pending> pending);

    Platform platform;
    Log log;
    std::shared_ptr<Pending> restoring; // what the pasteboard will be given back
};

} // namespace nimbe
