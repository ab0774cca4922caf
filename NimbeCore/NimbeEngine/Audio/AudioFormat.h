#pragma once

#include <cstddef>
#include <vector>

namespace nimbe {

/// Samples are 32-bit floats from -1 to 1, the channels of a frame side by side.
struct AudioFormat {
    double sampleRate = 0; // Hz
    unsigned channels = 0;

    friend bool operator==(const AudioFormat&, const AudioFormat&) = default;
};

/// Room for samples that is set aside once and filled again and again.
struct PCMBuffer {
    PCMBuffer(AudioFormat format, std::size_t frameCapacity)
        : format(format), samples(frameCapacity * format.channels) {}

    AudioFormat format;
    std::vector<float> samples;  // of the whole capacity
    std::size_t frameLength = 0; // of them in use

    [[nodiscard]] std::size_t frameCapacity() const {
        return format.channels == 0 ? 0 : samples.size() / format.channels;
    }
};

} // namespace nimbe
