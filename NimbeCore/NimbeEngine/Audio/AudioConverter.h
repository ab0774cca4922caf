#pragma once

#include <memory>
#include <span>

#include "NimbeEngine/Audio/AudioFormat.h"

namespace nimbe {

/// From one sample rate and number of channels to another, as a stream: what a call
/// takes in may come out of a later one. Channels are mixed to their mean. One
/// thread at a time.
class AudioConverter {
public:
    virtual ~AudioConverter() = default;

    /// Whole frames in; `output` then holds what is ready. Samples that are no number
    /// count as silence, others are limited to -1 and 1. Real-time safe. False when it
    /// failed: error() says why, the input is lost.
    [[nodiscard]] virtual bool convert(
        std::span<const float> input, PCMBuffer& output) noexcept = 0;

    /// After the last input: what is still inside.
    [[nodiscard]] virtual bool drain(PCMBuffer& output) noexcept = 0;

    /// A literal.
    [[nodiscard]] virtual const char* error() const noexcept = 0;
};

class AudioConverters {
public:
    virtual ~AudioConverters() = default;

    /// To one channel. Null for formats that cannot be converted.
    [[nodiscard]] virtual std::unique_ptr<AudioConverter> make(
        AudioFormat from, AudioFormat to) = 0;
};

} // namespace nimbe
