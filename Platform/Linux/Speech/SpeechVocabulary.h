#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "NimbeEngine/Speech/SpeechDecoder.h"

namespace nimbe {

/// What the decoder's tokens stand for.
///
/// The file has a line a token, from token 0 on: its bytes in hexadecimal, U+2581 for
/// a space. Tokens that stand for no text have an empty line.
class SpeechVocabulary {
public:
    /// Throws std::runtime_error when the file is not such a list.
    explicit SpeechVocabulary(const std::filesystem::path& file);

    /// Tokens are joined as bytes, so that a character may be spread over several;
    /// what is no UTF-8 then becomes U+FFFD. Unknown tokens stand for nothing. Without
    /// white space at its ends.
    [[nodiscard]] std::string text(const SpeechTokens& tokens) const;

    [[nodiscard]] std::size_t size() const { return words.size(); }

private:
    std::vector<std::string> words;
};

} // namespace nimbe
