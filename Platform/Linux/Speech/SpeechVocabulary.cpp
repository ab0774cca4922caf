#include "PlatformSpeech/SpeechVocabulary.h"

#include <charconv>
#include <fstream>
#include <stdexcept>

#include "Foundation/Text.h"

namespace nimbe {
namespace {

std::string fromHexadecimal(std::string_view line) {
    std::string bytes;
    if (line.size() % 2 != 0) throw std::runtime_error("the vocabulary is damaged");
    for (std::size_t at = 0; at < line.size(); at += 2) {
        unsigned value = 0;
        const char* end = line.data() + at + 2;
        if (std::from_chars(line.data() + at, end, value, 16).ptr != end)
            throw std::runtime_error("the vocabulary is damaged");
        bytes += static_cast<char>(value);
    }
    return bytes;
}

/// U+2581 is the vocabulary's mark for a space.
std::string withSpaces(std::string_view text) {
    constexpr std::string_view mark = "\u2581";
    std::string spaced;
    for (std::size_t at = 0; at < text.size();) {
        const bool isMark = text.substr(at).starts_with(mark);
        spaced.push_back(isMark ? ' ' : text[at]);
        at += isMark ? mark.size() : 1;
    }
    return spaced;
}

} // namespace

SpeechVocabulary::SpeechVocabulary(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    for (std::string line; std::getline(stream, line);) words.push_back(fromHexadecimal(line));
    if (words.empty()) throw std::runtime_error("the vocabulary cannot be read");
}

std::string SpeechVocabulary::text(const SpeechTokens& tokens) const {
    std::string bytes;
    for (const auto token : tokens)
        if (token >= 0 && static_cast<std::size_t>(token) < words.size())
            bytes += words[static_cast<std::size_t>(token)];
    const auto spaced = text::mended(withSpaces(bytes));
    return std::string(text::trimmed(spaced));
}

} // namespace nimbe
