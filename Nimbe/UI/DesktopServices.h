#pragma once

#include <functional>

#include "NimbeApp/CrashSentinelController.h"
#include "NimbeApp/DesktopSurroundings.h"
#include "NimbeApp/KeyNames.h"
#include "NimbeApp/LoginItem.h"
#include "NimbeApp/MCPSetup.h"
#include "NimbeApp/MacDictationController.h"
#include "NimbeApp/ObsidianExporter.h"
#include "NimbeApp/Pasteboard.h"
#include "NimbeApp/UpdateChecker.h"
#include "NimbeApp/Workspace.h"
#include "NimbeEngine/Audio/MacAudioDeviceStore.h"
#include "NimbeEngine/Language/LanguageModel.h"
#include "NimbeEngine/Transform/TransformProvider.h"
#include "NimbeSync/HistoryLibrary.h"

namespace nimbe {

/// What the tray item and the window work on. Lent; all outlive them.
struct DesktopServices {
    MainActor& actor;
    MacDictationController& dictation;
    HistoryLibrary& history;
    MacAudioDeviceStore& microphones;
    KeyboardShortcuts& shortcuts;
    KeyNames& keys;
    LanguageModel& model;
    TransformProvider& transforms;
    UserDefaults& defaults;
    UpdateChecker& updates;
    CrashSentinelController& crashes;
    LoginItem& loginItem;
    ObsidianExporter& exporter;
    MCPSetup& clients;
    Pasteboard& pasteboard;
    Workspace& workspace;
    DesktopSurroundings& surroundings;
    LogSink& log;
    std::function<void()> quit;
    /// Runs what may wait for the disk or the keyring on another thread, in order; absent:
    /// such things are done at once.
    std::function<void(std::function<void()>)> inBackground = {};
};

} // namespace nimbe
