#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "Foundation/Log.h"
#include "Foundation/UserDefaults.h"
#include "NimbeEngine/Audio/AudioConverter.h"
#include "NimbeEngine/Audio/AudioInput.h"
#include "NimbeEngine/Audio/AudioSink.h"
#include "NimbeEngine/Audio/CaptureDiagnostics.h"
#include "NimbeEngine/Audio/ConversionRing.h"
#include "NimbeEngine/Audio/LevelStore.h"

namespace nimbe {

/// Why a recording did not begin, or ended by itself.
using CaptureFailure = std::variant<MacAudioInputError, CaptureError>;

/// For the user.
[[nodiscard]] std::string_view message(const CaptureFailure& failure);

/// The chosen microphone's sound in the recogniser's format, and its level. Main
/// thread; one recording at a time.
class AudioCapture final : private AudioTap {
public:
    // Of the input, at once.
    static constexpr std::size_t tapBufferSize = 4096;

    AudioCapture(
        AudioInput& input, AudioConverters& converters, UserDefaults& defaults, LogSink& sink);
    AudioCapture(const AudioCapture&) = delete;
    AudioCapture& operator=(const AudioCapture&) = delete;

    /// Opens the microphone that the user chose; its sound then goes to `continuation`,
    /// which must outlive the recording. `onEnded`: it went away, or the system did;
    /// what was said until then has been handed over.
    [[nodiscard]] Task<Result<void, CaptureFailure>> start(AudioFormat targetFormat,
        AudioSink& continuation, std::function<void(CaptureFailure)> onEnded);

    /// Everything that was said until this call has been handed over when this ends.
    /// Not during the start.
    [[nodiscard]] Task<void> stop();

    /// Closes the microphone at once. After the task of a start was dropped, too.
    void abandon();

    /// Nothing was heard for a second, not even silence.
    [[nodiscard]] bool isStalled() const;

    LevelStore levelStore;
    CaptureDiagnostics diagnostics;
    double inputSampleRate = 0; // Hz, of the recording

private:
    AudioInput& audioInput;
    AudioConverters& converters;
    UserDefaults& defaults;
    Log log;

    std::unique_ptr<AudioEngine> audioEngine; // while recording
    bool tapInstalled = false;
    std::unique_ptr<AudioConverter> converter; // absent: the formats are the same
    std::optional<ConversionRing> conversionRing;
    AudioSink* continuation = nullptr;
    unsigned inputChannels = 0;

    [[nodiscard]] Task<Result<MicrophoneCaptureSelection, MacAudioInputError>> selection();
    [[nodiscard]] Result<void, CaptureFailure> prepareConversion(AudioFormat from, AudioFormat to);
    void hear(std::span<const float> samples) noexcept override;
    void convert(std::span<const float> samples) noexcept;
    void hand(const PCMBuffer& buffer) noexcept;
    void drain();
};

} // namespace nimbe
