#include "NimbeEngine/Speech/SpeechModel.h"

#include <algorithm>
#include <numeric>

namespace nimbe {
namespace {

constexpr SpeechModel::File tokens{SpeechModel::tokens, 452016,
    "aec20302f714326ba0b71a5f5c5fb0fa758afc86be23a94e5964e59561304134"};
constexpr SpeechModel::File voiceDetector{SpeechModel::voiceDetector, 2327524,
    "1a153a22f4509e292a94e67d6f9b85e8deb25b4988682b7e174c65279d8788e3"};

// The quantized models of Moonshine's own npm package, version 0.1.4, MIT licence,
// with the vocabulary of scripts/speech-tokens.mjs and Silero's detector, version 6.
constexpr std::array models{
    SpeechModel{"base", "Moonshine base, English", "moonshine-base-en", "en-US",
        {SpeechModel::File{SpeechModel::encoder, 20513063,
             "1dd9ab0a7f987113d30affcba5a068d11c8f90fa0223caa3e491ade431ad9751"},
            SpeechModel::File{SpeechModel::decoder, 42498870,
                "cc9f3cd6698a369c6008b41aa60aa3fb3322e7f03c9bdf19d8e6b7200afca4f3"},
            tokens, voiceDetector}},
    SpeechModel{"tiny", "Moonshine tiny, English", "moonshine-tiny-en", "en-US",
        {SpeechModel::File{SpeechModel::encoder, 7937661,
             "c6fc4b7bc5af75c0591fd157a1f3829b533d18e9769a888fd95a62e470dd4f4a"},
            SpeechModel::File{SpeechModel::decoder, 20243286,
                "eed87831c3a6103534aae7d47a5d485025c659a1323901513961c39fe8a1a367"},
            tokens, voiceDetector}},
};

} // namespace

std::uint64_t SpeechModel::bytes() const {
    return std::accumulate(files.begin(), files.end(), std::uint64_t{0},
        [](std::uint64_t sum, const File& file) { return sum + file.bytes; });
}

std::span<const SpeechModel> SpeechModel::all() {
    return models;
}

const SpeechModel* SpeechModel::named(std::string_view id) {
    const auto found = std::find_if(
        models.begin(), models.end(), [&](const SpeechModel& model) { return model.id == id; });
    return found == models.end() ? nullptr : &*found;
}

} // namespace nimbe
