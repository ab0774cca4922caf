#include "NimbeEngine/Audio/AudioLevel.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace nimbe {

double audioLevel(std::span<const float> samples, std::size_t channels) {
    const std::size_t frames = channels == 0 ? 0 : samples.size() / channels;
    if (frames == 0) return 0;
    double squares = 0;
    for (std::size_t frame = 0; frame < frames; ++frame) {
        const double sample = samples[frame * channels];
        if (std::isfinite(sample)) squares += sample * sample;
    }
    const double rms = std::sqrt(squares / static_cast<double>(frames));
    constexpr double range = 60; // dB
    const double decibels = 20 * std::log10(std::max(rms, 0.0000001));
    return std::clamp((decibels + range) / range, 0.0, 1.0);
}

std::optional<std::uint32_t> conversionCapacity(double inputSampleRate, double targetSampleRate) {
    constexpr double tapFrames = 4096;
    constexpr std::uint32_t spare = 1024;
    const double ratio =
        inputSampleRate > 1 ? targetSampleRate / inputSampleRate : targetSampleRate;
    const double frames = std::max(ratio, 1.0) * tapFrames;
    constexpr double most = std::numeric_limits<std::uint32_t>::max() - spare;
    if (!std::isfinite(ratio) || frames > most) return std::nullopt;
    return static_cast<std::uint32_t>(frames) + spare;
}

} // namespace nimbe
