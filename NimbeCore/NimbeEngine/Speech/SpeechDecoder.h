#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

namespace nimbe {

using SpeechTokens = std::vector<std::int64_t>;

/// Turns the sound of one utterance into text, greedily. One thread at a time, but
/// for interrupt().
class SpeechDecoder {
public:
    virtual ~SpeechDecoder() = default;

    /// Samples per second of the sound that it takes, one channel.
    static constexpr double sampleRate = 16000;

    struct Decoded {
        SpeechTokens tokens = {};
        bool isWhole = false; // not ended before its time
    };

    /// `guess` is what the utterance probably becomes: the part of it that the decoder
    /// would have chosen itself is taken over in one step, and changes nothing but the
    /// time. `keepsGoing` is asked between steps, some ten to a hundred times a second;
    /// when it says no, or interrupt() is called, the decode ends there.
    [[nodiscard]] virtual Decoded decode(std::span<const float> samples, const SpeechTokens& guess,
        const std::function<bool()>& keepsGoing) = 0;

    /// Without white space at its ends.
    [[nodiscard]] virtual std::string text(const SpeechTokens& tokens) const = 0;

    /// Ends the long first step of the decode that runs now, if any. Any thread.
    virtual void interrupt() noexcept = 0;
};

/// Tells speech from other sound, window by window. One thread.
class VoiceDetector {
public:
    virtual ~VoiceDetector() = default;

    static constexpr std::size_t windowSize = 512; // samples at 16 kHz: 32 ms

    /// The probability from 0 to 1 that the window, which follows the one before, holds
    /// speech.
    [[nodiscard]] virtual double probability(std::span<const float, windowSize> window) = 0;

    /// What comes next has nothing before it.
    virtual void reset() = 0;
};

} // namespace nimbe
