#include "NimbeEngine/Speech/UtteranceRecognizer.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>

namespace nimbe {
namespace {

constexpr auto windowSize = UtteranceSegmenter::windowSize;

// A shorter beginning of an utterance makes the model invent words.
constexpr Seconds leastForPartial = 0.5;
constexpr Seconds leastForSettled = 0.25;
constexpr Seconds partialInterval = 0.3;
// Partial decodes get at most this part of the time: what they cost grows with the
// utterance.
constexpr double partialShare = 0.35;

Seconds inSeconds(std::size_t samples) {
    return static_cast<Seconds>(samples) / UtteranceSegmenter::sampleRate;
}

Seconds now() {
    using namespace std::chrono;
    return duration<Seconds>(steady_clock::now().time_since_epoch()).count();
}

} // namespace

UtteranceRecognizer::UtteranceRecognizer(
    VoiceDetector& detector, SpeechDecoder& decoder, Volatile kind, Publish publish)
    : detector(detector), decoder(decoder), kind(kind), publish(std::move(publish)) {
    detector.reset();
}

Seconds UtteranceRecognizer::heardSeconds() const {
    return inSeconds(heard());
}

void UtteranceRecognizer::hear(std::span<const float> samples) {
    for (const float sample : samples)
        sound.push_back(std::isfinite(sample) ? std::clamp(sample, -1.0F, 1.0F) : 0.0F);
    while (detected + windowSize <= heard()) {
        const auto* window = sound.data() + (detected - soundBegin);
        detect(std::span<const float, windowSize>(window, windowSize));
    }
    forget();
}

void UtteranceRecognizer::detect(std::span<const float, windowSize> window) {
    detected += windowSize;
    if (const auto range = segmenter.hear(detector.probability(window))) closed.push_back(*range);
}

void UtteranceRecognizer::finish() {
    if (isFinished) return;
    isFinished = true;
    if (detected < heard()) {
        std::array<float, windowSize> last{};
        std::copy(sound.begin() + static_cast<std::ptrdiff_t>(detected - soundBegin), sound.end(),
            last.begin());
        detect(last);
    }
    if (const auto range = segmenter.finish(heard())) closed.push_back(*range);
    // The last window was filled up with silence that nobody said.
    if (!closed.empty()) closed.back().end = std::min(closed.back().end, heard());
}

/// The sound that no utterance needs any more.
void UtteranceRecognizer::forget() {
    // The last window may go on past the end of the sound.
    auto needed = std::min({segmenter.firstNeeded(), detected, heard()});
    if (!closed.empty()) needed = std::min(needed, closed.front().begin);
    // Not at every turn: the rest is moved.
    constexpr std::size_t worthMoving = 16000;
    if (needed < soundBegin + worthMoving) return;
    sound.erase(sound.begin(), sound.begin() + static_cast<std::ptrdiff_t>(needed - soundBegin));
    soundBegin = needed;
}

bool UtteranceRecognizer::work(const Pump& pump) {
    for (;;) {
        if (!closed.empty()) {
            if (!decodeClosed(pump)) return false;
        } else if (const auto open = partialDue()) {
            if (!decodeOpen(*open, pump)) return false;
        } else {
            return true;
        }
    }
}

std::optional<UtteranceSegmenter::Open> UtteranceRecognizer::partialDue() const {
    if (kind == Volatile::unwanted || isFinished) return std::nullopt;
    const auto open = segmenter.open();
    if (!open || (hypothesis.isWhole && hypothesis.range == open->range)) return std::nullopt;
    if (open->isSettled && open->speech >= leastForSettled) return open;
    const auto interval = std::max(partialInterval, lastPartialCost / partialShare);
    const bool isDue = lastPartialAt == 0 || inSeconds(heard() - lastPartialAt) >= interval;
    return open->speech >= leastForPartial && isDue ? open : std::nullopt;
}

SpeechDecoder::Decoded UtteranceRecognizer::decode(
    SampleRange range, const std::function<bool()>& keepsGoing) {
    // A copy: more is heard meanwhile.
    const auto begin = sound.begin() + static_cast<std::ptrdiff_t>(range.begin - soundBegin);
    const std::vector<float> samples(begin, begin + static_cast<std::ptrdiff_t>(range.size()));
    const bool isSame = hypothesis.range.begin == range.begin;
    return decoder.decode(samples, isSame ? hypothesis.tokens : SpeechTokens(), keepsGoing);
}

bool UtteranceRecognizer::decodeOpen(const UtteranceSegmenter::Open& open, const Pump& pump) {
    bool isWanted = true;
    const auto keepsGoing = [&] {
        isWanted = pump();
        if (!isWanted) return false;
        // Once the utterance has ended, or will have when nothing more is said, only
        // the decode of all of it counts.
        if (!closed.empty()) return closed.front() == open.range;
        const auto current = segmenter.open();
        return open.isSettled || !current || !current->isSettled;
    };
    lastPartialAt = heard();
    const auto began = now();
    isAhead = !open.isSettled;
    auto decoded = decode(open.range, keepsGoing);
    isAhead = false;
    lastPartialCost = now() - began;
    if (!isWanted) return false;

    const bool isSame = hypothesis.range.begin == open.range.begin;
    if (decoded.isWhole)
        hypothesis = {open.range, std::move(decoded.tokens), true};
    else if (!isSame || decoded.tokens.size() > hypothesis.tokens.size())
        hypothesis = {open.range, std::move(decoded.tokens), false};
    else
        hypothesis.isWhole = false;
    if (!decoded.isWhole) return true;
    auto text = spaced(hypothesis.tokens);
    if (text == shownVolatile) return true;
    shownVolatile = text;
    publish({std::move(text), false, inSeconds(open.range.begin), inSeconds(open.range.end)});
    return true;
}

bool UtteranceRecognizer::decodeClosed(const Pump& pump) {
    const auto range = closed.front();
    bool isWanted = true;
    const auto keepsGoing = [&] {
        isWanted = pump();
        return isWanted;
    };
    // An interruption that was meant for the decode before may hit this one.
    while (!hypothesis.isWhole || hypothesis.range != range) {
        if (!keepsGoing()) return false;
        auto decoded = decode(range, keepsGoing);
        if (!isWanted) return false;
        if (decoded.isWhole) hypothesis = {range, std::move(decoded.tokens), true};
    }
    auto text = spaced(hypothesis.tokens);
    hypothesis = {};
    closed.pop_front();
    forget();
    lastPartialAt = 0;
    // Also an empty text, in place of a volatile one.
    if (text.empty() && shownVolatile.empty()) return true;
    shownVolatile.clear();
    hasFinal = hasFinal || !text.empty();
    publish({std::move(text), true, inSeconds(range.begin), inSeconds(range.end)});
    return true;
}

std::string UtteranceRecognizer::spaced(const SpeechTokens& tokens) const {
    auto text = decoder.text(tokens);
    return text.empty() || !hasFinal ? text : " " + text;
}

} // namespace nimbe
