#pragma once

#include <cstddef>
#include <optional>
#include <vector>

#include "Foundation/Date.h"

namespace nimbe {

/// A stretch of samples, counted from the first of the session.
struct SampleRange {
    std::size_t begin = 0;
    std::size_t end = 0;

    [[nodiscard]] std::size_t size() const { return end - begin; }
    friend bool operator==(const SampleRange&, const SampleRange&) = default;
};

/// Cuts what is heard into utterances, the stretches that are recognised each by
/// itself, from the probability of speech in every window. Pure.
///
/// The figures were measured with 26 minutes of speech by 38 speakers: pauses that
/// close an utterance sooner the longer it is gave the fewest wrong words; without
/// padding there were 1.2 points more.
class UtteranceSegmenter {
public:
    static constexpr double sampleRate = 16000;
    static constexpr std::size_t windowSize = 512; // samples, 32 ms

    struct Open {
        SampleRange range;      // with padding, as far as it has been heard
        Seconds speech = 0;     // of the windows that hold speech
        Seconds pause = 0;      // since the last of them
        bool isSettled = false; // the pause is long enough that the range grows no more
    };

    /// The next window's probability. An utterance that this closes.
    [[nodiscard]] std::optional<SampleRange> hear(double probability);

    /// There is nothing more: `heard` samples in all. The utterance that was open.
    [[nodiscard]] std::optional<SampleRange> finish(std::size_t heard);

    /// The utterance that goes on.
    [[nodiscard]] std::optional<Open> open() const;

    /// No utterance to come begins before this sample.
    [[nodiscard]] std::size_t firstNeeded() const;

private:
    // Windows, counted from the first of the session.
    std::size_t heardWindows = 0;
    bool isSpeaking = false;
    bool isOpen = false;
    std::size_t speechBegin = 0;
    std::size_t speechEnd = 0;
    std::size_t speechWindows = 0;
    std::vector<double> probabilities; // from speechBegin on
    std::size_t previousEnd = 0;       // sample: utterances do not overlap

    [[nodiscard]] SampleRange padded(std::size_t heard) const;
    [[nodiscard]] bool isRest() const; // of speech that was cut
    [[nodiscard]] std::optional<SampleRange> close(std::size_t heard);
    [[nodiscard]] SampleRange cut();
};

} // namespace nimbe
