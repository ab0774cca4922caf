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

    /// The outcome of every delivery that was pasted begins so; with all others but
    /// clipboardUnreachable the text is on the clipboard.
    static constexpr std::string_view pasted = "Pasted";
    static constexpr std::string_view clipboardUnreachable =
        "The clipboard can't be reached. The text is in your history.";

    /// For an application that is asked to come to the front.
    static constexpr Seconds activationPatience = 1.0;
    static constexpr Seconds activationInterval = 0.03;
    /// From the paste chord until the pasteboard is put back.
    static constexpr Seconds restoreDelay = 0.8;

    explicit AXInserter(Platform platform);
    AXInserter(const AXInserter&) = delete;
    AXInserter& operator=(const AXInserter&) = delete;

    /// How it went, for the user.
    [[nodiscard]] Task<std::string> deliver(
        std::string text, std::optional<RunningApplication> target);

    enum class Inserted {
        pasted,
        leftOnClipboard,
        nowhere // the clipboard could not be taken over
    };
    /// Without a target, or when another application has come to the front meanwhile, the
    /// text is only left on the clipboard.
    [[nodiscard]] Task<Inserted> insert(std::string text, std::optional<RunningApplication> target);

    /// Presses what pastes in that application.
    [[nodiscard]] bool postCommandV(const PasteRules::Rule& rule);

    struct Snapshot {
        PasteboardContents pasteboard;
        std::optional<PasteboardContents> selection = {}; // when the paste touches it
    };
    [[nodiscard]] Task<Snapshot> snapshotPasteboard(bool withSelection);

    /// What a paste has replaced is put back as soon as the text was fetched, instead of
    /// after the whole delay: before the program ends.
    [[nodiscard]] Task<void> settle();

    /// When the last delivery's steps were done, on the monotonic clock.
    struct Times {
        Seconds activated = 0;
        Seconds posted = 0;
    };
    Times times;

private:
    /// What a paste has replaced, until it is put back.
    struct Replaced {
        Snapshot before;
        Pasteboard::Change change = 0;
        std::optional<Pasteboard::Change> selectionChange = {};
        int earlierReads = 0; // before the paste chord: a clipboard manager's
    };

    Platform platform;
    Log log;
    std::optional<Replaced> replaced;
    TaskHandle restoring;

    [[nodiscard]] Task<bool> bringForward(RunningApplication target);
    [[nodiscard]] Task<std::string> copy(std::string text, std::string outcome);
    [[nodiscard]] bool isFrontmost(const RunningApplication& target);
    [[nodiscard]] Task<void> restoreLater();
    [[nodiscard]] Task<void> restorePasteboard();
};

} // namespace nimbe
