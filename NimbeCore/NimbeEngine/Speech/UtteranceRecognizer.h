#pragma once

#include <atomic>
#include <deque>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "NimbeEngine/Speech/SpeechDecoder.h"
#include "NimbeEngine/Speech/TranscriptionEngine.h"
#include "NimbeEngine/Speech/UtteranceSegmenter.h"

namespace nimbe {

/// Turns sound into results as it comes. Nothing is decoded without voice detection;
/// each utterance is decoded once for its final text, and the one that goes on every
/// few hundred milliseconds for its volatile text. As soon as the speaker pauses, a
/// decode covers all that was said: when nothing follows, the final text is there.
///
/// One thread. Costs linear in the sound; holds the sound of what is not final yet.
class UtteranceRecognizer {
public:
    enum class Volatile { wanted, unwanted };
    using Publish = std::function<void(TranscriptionResult)>;
    /// Called during decodes: brings the sound that came meanwhile by hear() and
    /// finish(). False: nothing more is wanted.
    using Pump = std::function<bool()>;

    UtteranceRecognizer(
        VoiceDetector& detector, SpeechDecoder& decoder, Volatile kind, Publish publish);

    /// One channel at 16 kHz; what is no number counts as silence.
    void hear(std::span<const float> samples);

    /// Nothing more is heard.
    void finish();

    /// Decodes what is due now. False when the pump said that nothing more is wanted.
    [[nodiscard]] bool work(const Pump& pump);

    /// A decode runs whose result will be of no use once the sound ends here. Any thread.
    [[nodiscard]] bool runsAhead() const { return isAhead; }

    /// Finished, and every result is published.
    [[nodiscard]] bool isDone() const { return isFinished && closed.empty(); }

    [[nodiscard]] Seconds heardSeconds() const;

    /// Samples that are held for what is not final yet.
    [[nodiscard]] std::size_t held() const { return sound.size(); }

private:
    /// What the utterance that begins there is taken for so far.
    struct Hypothesis {
        SampleRange range = {};
        SpeechTokens tokens = {};
        bool isWhole = false; // of that range; else a guess
    };

    VoiceDetector& detector;
    SpeechDecoder& decoder;
    Volatile kind;
    Publish publish;

    UtteranceSegmenter segmenter;
    std::vector<float> sound; // from soundBegin on
    std::size_t soundBegin = 0;
    std::size_t detected = 0; // samples that the detector has seen
    bool isFinished = false;

    std::deque<SampleRange> closed;
    Hypothesis hypothesis;
    std::size_t lastPartialAt = 0; // samples heard when it began
    Seconds lastPartialCost = 0;
    std::string shownVolatile;
    bool hasFinal = false;
    std::atomic<bool> isAhead = false;

    [[nodiscard]] std::size_t heard() const { return soundBegin + sound.size(); }
    void detect(std::span<const float, UtteranceSegmenter::windowSize> window);
    void forget();
    [[nodiscard]] std::optional<UtteranceSegmenter::Open> partialDue() const;
    [[nodiscard]] bool decodeOpen(const UtteranceSegmenter::Open& open, const Pump& pump);
    [[nodiscard]] bool decodeClosed(const Pump& pump);
    [[nodiscard]] SpeechDecoder::Decoded decode(
        SampleRange range, const std::function<bool()>& keepsGoing);
    [[nodiscard]] std::string spaced(const SpeechTokens& tokens) const;
};

} // namespace nimbe
