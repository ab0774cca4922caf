#pragma once

#include <memory>

#include "Foundation/Log.h"
#include "NimbeEngine/Audio/AudioInput.h"

namespace nimbe {

class PulseConnection;

/// The microphones of the session's sound server: PulseAudio, or PipeWire in its
/// place. Its thread begins here; the connection with the first question or
/// observation. A server that went away is found again by the next question.
class PulseAudioInput final : public AudioInput {
public:
    /// Both must outlive it, its engines and their tasks.
    PulseAudioInput(MainActor& actor, LogSink& sink);

    [[nodiscard]] Task<Result<std::vector<MicrophoneDevice>, MacAudioInputError>>
    devices() override;
    [[nodiscard]] Token observeDevices(std::function<void()> onChange) override;
    [[nodiscard]] std::unique_ptr<AudioEngine> makeAudioEngine() override;

private:
    MainActor& actor;
    LogSink& sink;
    std::shared_ptr<PulseConnection> connection; // of the engines and tasks as well
};

} // namespace nimbe
