#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace nimbe {

/// Loudness of the first channel from 0 (-60 dBFS of RMS and below) to 1 (full
/// scale). 0 when there are none; a sample that is not a number counts as silence.
/// Real-time safe; one pass.
[[nodiscard]] double audioLevel(std::span<const float> samples, std::size_t channels = 1);

/// Frames that a buffer must hold for what 4096 frames of input become at the target
/// rate, with 1024 to spare; never fewer than the input's own. Absent when that is no
/// number of frames.
[[nodiscard]] std::optional<std::uint32_t> conversionCapacity(
    double inputSampleRate, double targetSampleRate);

} // namespace nimbe
