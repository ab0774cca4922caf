#pragma once

#include <memory>

#include "Foundation/Log.h"
#include "NimbeEngine/Audio/AudioInput.h"

namespace nimbe {

class PulseConnection;

/// A source of the sound server, in its own format. With no server, or none that
/// answers, the microphone counts as unavailable; a stream that the server does not
/// open within the port's deadline, as refused.
class PulseAudioEngine final : public AudioEngine {
public:
    PulseAudioEngine(std::shared_ptr<PulseConnection> connection, MainActor& actor, LogSink& sink);
    ~PulseAudioEngine() override;

    [[nodiscard]] Task<Result<AudioFormat, MacAudioInputError>> inputFormat(
        MicrophoneCaptureSelection selection) override;
    [[nodiscard]] Task<Result<void, MacAudioInputError>> start(AudioTap& tap,
        std::size_t bufferFrames, std::function<void(MacAudioInputError)> onEnded) override;
    [[nodiscard]] Task<void> stop() override;

    /// What a task keeps when the engine is dropped; then it ends with an error.
    struct State;

private:
    std::shared_ptr<State> state;
};

} // namespace nimbe
