#pragma once

#include <functional>
#include <memory>
#include <span>
#include <vector>

#include "Foundation/Result.h"
#include "Foundation/Task.h"
#include "NimbeEngine/Audio/AudioFormat.h"
#include "NimbeEngine/Audio/AudioInputError.h"
#include "NimbeKitCore/Microphone/MicrophoneCapturePolicy.h"
#include "NimbeKitCore/Microphone/MicrophoneDevice.h"

namespace nimbe {

/// Hears what comes from a microphone, in order, on the input's own thread.
class AudioTap {
public:
    virtual ~AudioTap() = default;

    /// Whole frames in the engine's format, any number of them up to the tap's
    /// buffer size. Must not allocate, wait for a lock held for long, or log.
    virtual void hear(std::span<const float> samples) noexcept = 0;
};

/// One microphone, from opening to closing. Main thread, but for the tap. Dropping
/// it closes it at once; the tap is not called after that.
class AudioEngine {
public:
    virtual ~AudioEngine() = default;

    /// Finds the device. Its own format; a rate or a number of channels of 0 when it
    /// does not know. Answers within a second.
    [[nodiscard]] virtual Task<Result<AudioFormat, MacAudioInputError>> inputFormat(
        MicrophoneCaptureSelection selection) = 0;

    /// From then on the tap, which must outlive the engine, hears buffers of at most
    /// `bufferFrames` frames. After inputFormat(). Answers within two seconds. An
    /// explicitly selected device is never exchanged for another. `onEnded` comes at
    /// most once: the microphone went away by itself, nothing more will be heard.
    [[nodiscard]] virtual Task<Result<void, MacAudioInputError>> start(AudioTap& tap,
        std::size_t bufferFrames, std::function<void(MacAudioInputError)> onEnded) = 0;

    /// Everything that was said until this call has then been heard, as far as the
    /// microphone gives it within a fifth of a second; the tap is not called any more.
    [[nodiscard]] virtual Task<void> stop() = 0;
};

/// The system's microphones. Main thread.
class AudioInput {
public:
    virtual ~AudioInput() = default;

    /// Those that are there, without sources that only play back what others play.
    /// Answers within a second; an error when no sound server does.
    [[nodiscard]] virtual Task<Result<std::vector<MicrophoneDevice>, MacAudioInputError>>
    devices() = 0;

    /// Told after devices came, went or became the default, until the token is dropped.
    [[nodiscard]] virtual Token observeDevices(std::function<void()> onChange) = 0;

    [[nodiscard]] virtual std::unique_ptr<AudioEngine> makeAudioEngine() = 0;
};

} // namespace nimbe
