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

} // namespace

void appendQuoted(std::string& to, std::string_view text) {
    constexpr std::string_view digits = "0123456789ABCDEF";
    to += '"';
    std::size_t begin = 0; // of what is not written yet and needs no escape
    for (std::size_t at = 0; at < text.size(); ++at) {
        const char escape = escapeOf(text[at]);
        if (escape == 0) continue;
        to.append(text, begin, at - begin);
        begin = at + 1;
        to += '\\';
        to += escape;
        if (escape != 'u') continue;
        const auto byte = static_cast<unsigned char>(text[at]);
        to += "00";
        to += digits[byte >> 4U];
        to += digits[byte & 0xFU];
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
