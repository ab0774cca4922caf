#pragma once

#include "NimbeEngine/Audio/AudioConverter.h"

namespace nimbe {

/// By libsamplerate, from any number of channels to one.
class SampleRateConverters final : public AudioConverters {
public:
    /// Null for rates that are not from 1 Hz to 768 kHz or more than a factor of 256
    /// apart, for an input without channels, and for an output of more than one.
    [[nodiscard]] std::unique_ptr<AudioConverter> make(AudioFormat from, AudioFormat to) override;
};

} // namespace nimbe
