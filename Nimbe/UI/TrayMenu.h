#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "NimbeApp/MacDictationController.h"
#include "NimbeKitCore/CrashSentinel.h"
#include "NimbeKitCore/History/DictationEntry.h"
#include "NimbeKitCore/Microphone/MicrophoneDevice.h"

namespace nimbe {

/// What the tray item's menu offers. Pure.
struct TrayMenu {
    using Phase = MacDictationController::Phase;
    using Interaction = MacDictationController::Interaction;

    enum class Command {
        none, // a line to read, or a submenu
        startDictation,
        stopDictation,
        cancelDictation,
        selectMicrophone, // argument: its uid
        copyDictation,    // argument: its id
        toggleCleanup,
        openDownloadPage,
        reportProblem,
        relaunchLocalOnly,
        dismissCrash,
        openWindow,
        toggleLoginItem,
        quit
    };

    struct Item {
        std::string title; // empty: a separator
        Command command = Command::none;
        std::string argument = {};
        bool isEnabled = true;
        std::optional<bool> isChecked = {}; // absent: not to be checked
        std::string symbol = {};
        std::vector<Item> children = {};

        [[nodiscard]] bool isSeparator() const { return title.empty(); }
        friend bool operator==(const Item&, const Item&) = default;
    };

    struct Input {
        Phase phase = {};
        std::optional<Interaction> interaction = {};
        std::optional<std::string> targetName = {};
        std::string trigger; // "Alt (Option)", or a chord
        std::vector<MicrophoneDevice> microphones = {};
        std::string preferredMicrophone = {};
        bool isCleanupEnabled = false;
        bool hasNoModel = false;                 // for the cleanup, for all that is known
        std::vector<DictationEntry> recent = {}; // newest first
        std::optional<std::string> availableVersion = {};
        std::optional<CrashSentinel::LaunchAssessment> crash = {};
        bool showsLocalOnlyNote = false;
        bool startsAtLogin = false;
    };

    // Entries in "Recent Dictations", and characters of each, as the user counts them.
    static constexpr std::size_t mostRecent = 10;
    static constexpr std::size_t longestTitle = 48;

    [[nodiscard]] static std::vector<Item> items(const Input& input);

    /// The first line: what goes on.
    [[nodiscard]] static std::string statusLine(const Input& input);

    /// How the item in the tray looks.
    enum class Icon { idle, recording, working, problem };
    [[nodiscard]] static Icon icon(const Phase& phase, bool hasCrashBanner);
};

} // namespace nimbe
