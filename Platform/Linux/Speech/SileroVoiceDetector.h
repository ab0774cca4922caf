#pragma once

#include <array>
#include <filesystem>

#include "NimbeEngine/Speech/SpeechDecoder.h"
#include "PlatformSpeech/OnnxRuntime.h"

namespace nimbe {

/// Silero's detector, versions 5 and 6, at 16 kHz.
class SileroVoiceDetector final : public VoiceDetector {
public:
    /// Throws std::exception when the file is not such a model.
    explicit SileroVoiceDetector(const std::filesystem::path& file);

    [[nodiscard]] double probability(std::span<const float, windowSize> window) override;
    void reset() override;

private:
    // The model sees the end of the window before as well.
    static constexpr std::size_t contextSize = 64;

    Ort::Session session;
    std::array<float, contextSize + windowSize> input{};
    std::array<float, 2 * 128> state{};
};

} // namespace nimbe
