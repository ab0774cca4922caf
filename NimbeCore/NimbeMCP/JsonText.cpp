#include "NimbeMCP/JsonText.h"

#include <algorithm>
#include <array>

namespace nimbe::jsonText {
namespace {

/// What stands for one byte; nothing when it stands for itself.
struct Escape {
    std::array<char, 7> characters{};
    unsigned char size = 0;

    constexpr void add(char c) { characters.at(size++) = c; }
};

using Escapes = std::array<Escape, 256>;

constexpr const Escape& escapeOf(const Escapes& escapes, char c) {
    return escapes[static_cast<unsigned char>(c)];
}

constexpr Escapes once = [] {
    Escapes table{};
    for (std::size_t c = 0; c < 0x20; ++c) {
        constexpr std::string_view digits = "0123456789ABCDEF";
        for (const char character : {'\\', 'u', '0', '0', digits[c >> 4U], digits[c & 0xFU]})
            table[c].add(character);
    }
    constexpr std::string_view shorts = "\"\"\\\\\bb\ff\nn\rr\tt"; // a byte, its letter
    for (std::size_t i = 0; i < shorts.size(); i += 2) {
        Escape escape;
        escape.add('\\');
        escape.add(shorts[i + 1]);
        table[static_cast<unsigned char>(shorts[i])] = escape;
    }
    return table;
}();

constexpr Escapes twice = [] {
    Escapes table{};
    for (std::size_t c = 0; c < table.size(); ++c)
        for (std::size_t i = 0; i < once[c].size; ++i) {
            const char character = once[c].characters[i];
            const auto& again = escapeOf(once, character);
            for (std::size_t k = 0; k < again.size; ++k) table[c].add(again.characters[k]);
            if (again.size == 0) table[c].add(character);
        }
    return table;
}();

constexpr std::size_t blockSize = 16;

bool isPlainBlock(const char* block) {
    unsigned char any = 0; // without a branch, so that it goes by vectors
    for (std::size_t i = 0; i < blockSize; ++i) {
        const auto c = static_cast<unsigned char>(block[i]);
        const bool isEscaped = c < 0x20 || c == '"' || c == '\\';
        any = static_cast<unsigned char>(any | static_cast<unsigned char>(isEscaped));
    }
    return any == 0;
}

/// How many bytes from `at` on stand for themselves: all of them, or at least as many as
/// whole blocks do.
std::size_t plainBlocks(std::string_view text, std::size_t at) {
    const std::size_t from = at;
    for (; text.size() - at >= blockSize; at += blockSize)
        if (!isPlainBlock(text.data() + at)) return at - from;
    // What is left lies in the last block of the text, where there is one.
    const bool isRestPlain =
        text.size() >= blockSize && isPlainBlock(text.data() + text.size() - blockSize);
    return (isRestPlain ? text.size() : at) - from;
}

void appendEscaped(std::string& to, std::string_view text, const Escapes& escapes) {
    std::size_t begin = 0; // of what is not written yet and needs no escape
    for (std::size_t at = plainBlocks(text, 0); at < text.size(); ++at) {
        const auto& escape = escapeOf(escapes, text[at]);
        if (escape.size == 0) continue;
        to.append(text, begin, at - begin);
        to.append(escape.characters.data(), escape.size);
        begin = at + 1;
        at += plainBlocks(text, begin);
    }
    to.append(text, begin);
}

} // namespace

void appendQuoted(std::string& to, std::string_view text) {
    to += '"';
    appendEscaped(to, text, once);
    to += '"';
}

void appendEscapedTwice(std::string& to, std::string_view text) {
    appendEscaped(to, text, twice);
}

void appendMember(std::string& to, std::string_view name, std::string_view text) {
    to += '"';
    to += name;
    to += "\":";
    appendQuoted(to, text);
}

} // namespace nimbe::jsonText
