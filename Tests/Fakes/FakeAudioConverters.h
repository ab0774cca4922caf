#pragma once

#include <cmath>

#include "NimbeEngine/Audio/AudioConverter.h"

namespace nimbe {

/// Takes the first channel of every frame as it is, whatever the rates are.
class FakeAudioConverters final : public AudioConverters {
public:
    bool isRefusing = false;       // no formats can be converted
    bool isFailing = false;        // every conversion fails
    std::vector<float> tail = {};  // what is still inside at the end
    std::vector<AudioFormat> made; // from

    std::unique_ptr<AudioConverter> make(AudioFormat from, AudioFormat /*to*/) override {
        made.push_back(from);
        if (isRefusing) return nullptr;
        return std::make_unique<Converter>(*this, from.channels);
    }

private:
    class Converter final : public AudioConverter {
    public:
        Converter(FakeAudioConverters& owner, std::size_t channels)
            : owner(owner), channels(channels) {}
        bool convert(std::span<const float> input, PCMBuffer& output) noexcept override {
            if (owner.isFailing) return false;
            output.frameLength = input.size() / channels;
            for (std::size_t i = 0; i < output.frameLength; ++i)
                output.samples[i] = input[i * channels];
            return true;
        }
        bool drain(PCMBuffer& output) noexcept override {
            output.frameLength = owner.tail.size();
            std::copy(owner.tail.begin(), owner.tail.end(), output.samples.begin());
            return true;
        }
        const char* error() const noexcept override { return "it was told to fail"; }

    private:
        FakeAudioConverters& owner;
        std::size_t channels;
    };
};

} // namespace nimbe
