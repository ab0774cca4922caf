#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace nimbe {

/// Human speech with what is said in it, of Debian's pocketsphinx-testdata: 16 kHz,
/// one channel.
struct RecordedSpeech {
    std::filesystem::path file;
    std::string said;
    std::vector<std::string> words = {}; // of that, as wordsOf gives them

    /// Sentences of a novel, read for LibriVox.
    [[nodiscard]] static std::vector<RecordedSpeech> sentences();
    /// Names of playing cards, a few words each.
    [[nodiscard]] static std::vector<RecordedSpeech> phrases();

    [[nodiscard]] std::vector<float> samples() const;
};

} // namespace nimbe
