#include "NimbeEngine/Speech/UtteranceSegmenter.h"

#include <algorithm>

namespace nimbe {
namespace {

// Speech begins at the first and goes on down to the second.
constexpr double beginProbability = 0.5;
constexpr double endProbability = 0.35;

constexpr std::size_t samples(Seconds seconds) {
    return static_cast<std::size_t>(seconds * UtteranceSegmenter::sampleRate);
}
constexpr Seconds seconds(std::size_t windows) {
    return static_cast<Seconds>(windows * UtteranceSegmenter::windowSize) /
           UtteranceSegmenter::sampleRate;
}

// Of the real sound, before and after the speech.
constexpr std::size_t padding = samples(0.2);

// The model invents words for less than this.
constexpr Seconds leastSpeech = 0.25;

// What a cut has left over is the rest of a word.
constexpr Seconds leastRest = 0.09;

// A click before the speech must not open it: silence in front of an utterance makes
// the model answer with nothing.
constexpr Seconds leastOpening = 0.12;
constexpr Seconds longestAfterClick = 0.4;

// Past 40 s the model drops words or repeats them.
constexpr Seconds longest = 25;
constexpr Seconds searchedForCut = 5;

constexpr Seconds closingPause(Seconds length) {
    if (length < 10) return 1.5;
    if (length < 15) return 0.8;
    if (length < 20) return 0.4;
    return 0.2;
}

} // namespace

std::optional<SampleRange> UtteranceSegmenter::hear(double probability) {
    const auto window = heardWindows++;
    isSpeaking = probability >= (isSpeaking ? endProbability : beginProbability);
    if (!isOpen) {
        if (!isSpeaking) return std::nullopt;
        isOpen = true;
        speechBegin = window;
        speechWindows = 0;
        probabilities.clear();
    }
    probabilities.push_back(probability);
    if (isSpeaking) {
        speechEnd = window + 1;
        ++speechWindows;
    }
    const auto heard = heardWindows * windowSize;
    const auto pause = seconds(heardWindows - speechEnd);
    const bool wasClick =
        !isRest() && seconds(speechWindows) < leastOpening && pause >= longestAfterClick;
    if (wasClick || pause >= closingPause(seconds(speechEnd - speechBegin))) return close(heard);
    if (seconds(heardWindows - speechBegin) >= longest) return cut();
    return std::nullopt;
}

SampleRange UtteranceSegmenter::padded(std::size_t heard) const {
    const auto begin = speechBegin * windowSize;
    return {std::max(begin - std::min(begin, padding), previousEnd),
        std::min(speechEnd * windowSize + padding, heard)};
}

bool UtteranceSegmenter::isRest() const {
    return speechBegin > 0 && speechBegin * windowSize == previousEnd;
}

std::optional<SampleRange> UtteranceSegmenter::close(std::size_t heard) {
    isOpen = false;
    if (seconds(speechWindows) < (isRest() ? leastRest : leastSpeech)) return std::nullopt;
    const auto range = padded(heard);
    previousEnd = range.end;
    return range;
}

/// Somebody speaks without a pause: where speech is least likely, near the end. What
/// follows is an utterance that is open already.
SampleRange UtteranceSegmenter::cut() {
    const auto searched = static_cast<std::ptrdiff_t>(searchedForCut * sampleRate / windowSize);
    const auto least = std::min_element(probabilities.end() - searched, probabilities.end());
    const auto kept = static_cast<std::size_t>(least - probabilities.begin()) + 1;
    const SampleRange range{padded(heardWindows * windowSize).begin,
        std::min((speechBegin + kept) * windowSize, speechEnd * windowSize + padding)};

    probabilities.erase(probabilities.begin(), least + 1);
    previousEnd = range.end;
    speechBegin += kept;
    speechWindows = static_cast<std::size_t>(std::count_if(probabilities.begin(),
        probabilities.end(), [](double probability) { return probability >= endProbability; }));
    speechEnd = std::max(speechEnd, speechBegin);
    isOpen = speechWindows > 0;
    return range;
}

std::optional<SampleRange> UtteranceSegmenter::finish(std::size_t heard) {
    return isOpen ? close(heard) : std::nullopt;
}

std::optional<UtteranceSegmenter::Open> UtteranceSegmenter::open() const {
    if (!isOpen) return std::nullopt;
    const auto heard = heardWindows * windowSize;
    Open open;
    open.range = padded(heard);
    open.speech = seconds(speechWindows);
    open.pause = seconds(heardWindows - speechEnd);
    open.isSettled = speechEnd * windowSize + padding <= heard;
    return open;
}

std::size_t UtteranceSegmenter::firstNeeded() const {
    const auto begin = (isOpen ? speechBegin : heardWindows) * windowSize;
    return std::max(begin - std::min(begin, padding), previousEnd);
}

} // namespace nimbe
