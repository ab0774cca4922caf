#pragma once

#include <cstddef>
#include <vector>

#include "NimbeEngine/Audio/AudioFormat.h"

namespace nimbe {

/// Buffers in the recogniser's format, set aside at the start and filled in turn.
struct ConversionRing {
    static constexpr std::size_t size = 8;

    ConversionRing(AudioFormat format, std::size_t frameCapacity)
        : buffers(size, PCMBuffer(format, frameCapacity)) {}

    std::vector<PCMBuffer> buffers;
    std::size_t index = 0; // the next to fill

    [[nodiscard]] PCMBuffer& take() {
        auto& taken = buffers[index];
        index = (index + 1) % buffers.size();
        return taken;
    }
};

} // namespace nimbe
