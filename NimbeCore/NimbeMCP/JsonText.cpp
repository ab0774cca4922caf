#include "NimbeMCP/JsonText.h"

#include <array>

namespace nimbe::jsonText {
namespace {

/// For each byte: 0 when it stands for itself, 'u' for \u00XX, else the letter behind the
/// backslash.
constexpr std::array<char, 256> escapes = [] {
    std::array<char, 256> table{};
    for (std::size_t c = 0; c < 0x20; ++c) table[c] = 'u';
    table['"'] = '"';
    table['\\'] = '\\';
    table['\b'] = 'b';
    table['\f'] = 'f';
    table['\n'] = 'n';
    table['\r'] = 'r';
    table['\t'] = 't';
    return table;
}();

char escapeOf(char c) {
    return escapes[static_cast<unsigned char>(c)];
}

/// How many bytes at the front stand for themselves: all of them, or at least as many as
/// whole blocks do.
std::size_t plainBlocks(std::string_view text) {
    constexpr std::size_t blockSize = 16;
    std::size_t at = 0;
    for (; text.size() - at >= blockSize; at += blockSize) {
        unsigned char any = 0; // without a branch, so that it goes by vectors
        for (std::size_t i = at; i < at + blockSize; ++i) {
            const auto c = static_cast<unsigned char>(text[i]);
            const bool isEscaped = c < 0x20 || c == '"' || c == '\\';
            any = static_cast<unsigned char>(any | static_cast<unsigned char>(isEscaped));
        }
        if (any != 0) break;
    }
    return at;
}

} // namespace

void appendQuoted(std::string& to, std::string_view text) {
    constexpr std::string_view digits = "0123456789ABCDEF";
    to += '"';
    std::size_t begin = 0; // of what is not written yet and needs no escape
    for (std::size_t at = plainBlocks(text); at < text.size(); ++at) {
        const char escape = escapeOf(text[at]);
        if (escape == 0) continue;
        to.append(text, begin, at - begin);
        begin = at + 1;
        to += '\\';
        to += escape;
        if (escape == 'u') {
            const auto byte = static_cast<unsigned char>(text[at]);
            to += "00";
            to += digits[byte >> 4U];
            to += digits[byte & 0xFU];
        }
        at += plainBlocks(text.substr(begin));
    }
    to.append(text, begin);
    to += '"';
}

void appendMember(std::string& to, std::string_view name, std::string_view text) {
    to += '"';
    to += name;
    to += "\":";
    appendQuoted(to, text);
}

} // namespace nimbe::jsonText
