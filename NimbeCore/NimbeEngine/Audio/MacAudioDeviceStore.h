#pragma once

#include <string>
#include <vector>

#include "Foundation/Log.h"
#include "Foundation/Published.h"
#include "Foundation/Task.h"
#include "Foundation/UserDefaults.h"
#include "NimbeEngine/Audio/AudioInput.h"

namespace nimbe {

/// The microphones that the user is offered, kept current while it lives. Main thread.
class MacAudioDeviceStore {
public:
    MacAudioDeviceStore(MainActor& actor, AudioInput& input, UserDefaults& defaults, LogSink& sink);
    MacAudioDeviceStore(const MacAudioDeviceStore&) = delete;
    MacAudioDeviceStore& operator=(const MacAudioDeviceStore&) = delete;

    /// The system default, what is there, and the chosen one when it is not.
    Published<std::vector<MicrophoneDevice>> _devices;

    /// Asks again; the list is published when the answer comes. The last refresh wins.
    void refresh();

    /// The user's choice. False when it could not be stored.
    [[nodiscard]] bool select(const std::string& uid);

private:
    MainActor& actor;
    AudioInput& input;
    UserDefaults& defaults;
    Log log;
    TaskHandle refreshing;
    Token changes;

    [[nodiscard]] Task<void> ask();
};

} // namespace nimbe
