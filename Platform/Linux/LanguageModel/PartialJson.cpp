#include "PlatformLanguageModel/PartialJson.h"

#include <utility>

namespace nimbe {
namespace {

bool isWhite(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

bool isAny(char c, std::string_view of) {
    return of.find(c) != of.npos;
}

} // namespace

std::size_t PartialJson::add(std::string_view bytes) {
    if (hasFault) return bytes.size();
    const auto from = text.size();
    text += bytes;
    for (std::size_t at = from; at < text.size(); ++at) {
        if (state == State::whole) {
            text.resize(at);
            return at - from;
        }
        hasFault = !take(text[at], at);
        if (hasFault) break;
    }
    return bytes.size();
}

Json PartialJson::value() const {
    if (open.empty() && state != State::whole) return {};
    auto closed = text.substr(0, usableBytes());
    if (isInText()) closed += '"';
    for (auto at = open.rbegin(); at != open.rend(); ++at) closed += *at == '{' ? '}' : ']';
    auto parsed = Json::parse(closed);
    return parsed ? std::move(*parsed) : Json();
}

bool PartialJson::take(char c, std::size_t at) {
    if (state == State::text) return takeText(c, at);
    if (state == State::number) return takeNumber(c, at);
    if (state == State::word) return takeWord(c, at);
    if (isWhite(c)) return true;
    switch (state) {
    case State::start: return takeStart(c, at);
    case State::firstKey:
    case State::key: return takeKey(c, at);
    case State::colon: state = State::value; return c == ':';
    case State::firstElement:
    case State::value: return takeValue(c, at);
    case State::afterValue: return takeAfterValue(c, at);
    case State::text:
    case State::number:
    case State::word:
    case State::whole: break;
    }
    return false;
}

bool PartialJson::takeStart(char c, std::size_t at) {
    if (c != '{') return false;
    beginContainer(c, at);
    return true;
}

bool PartialJson::takeKey(char c, std::size_t at) {
    if (c == '}' && state == State::firstKey) return close('{', at);
    if (c != '"') return false;
    beginText(at, true);
    return true;
}

bool PartialJson::takeValue(char c, std::size_t at) {
    if (c == ']' && state == State::firstElement) return close('[', at);
    token = at;
    if (c == '"') {
        beginText(at, false);
    } else if (c == '{' || c == '[') {
        beginContainer(c, at);
    } else if (isAny(c, "-0123456789")) {
        state = State::number;
    } else {
        state = State::word;
        return takeWord(c, at);
    }
    return true;
}

bool PartialJson::takeAfterValue(char c, std::size_t at) {
    if (c != ',') return close(c == '}' ? '{' : c == ']' ? '[' : '\0', at);
    state = open.back() == '{' ? State::key : State::value;
    return true;
}

bool PartialJson::takeNumber(char c, std::size_t at) {
    if (isAny(c, "0123456789+-.eE")) return true;
    if (!Json::parse(std::string_view(text).substr(token, at - token))) return false;
    usable = at;
    state = State::afterValue;
    return take(c, at);
}

bool PartialJson::takeWord(char /*c*/, std::size_t at) {
    const auto word = std::string_view(text).substr(token, at + 1 - token);
    for (const std::string_view known : {"true", "false", "null"}) {
        if (!known.starts_with(word)) continue;
        if (word.size() == known.size()) {
            usable = at + 1;
            state = State::afterValue;
        }
        return true;
    }
    return false;
}

void PartialJson::beginText(std::size_t at, bool isOfKey) {
    state = State::text;
    isKey = isOfKey;
    textEnd = at + 1;
}

bool PartialJson::takeText(char c, std::size_t at) {
    const auto byte = static_cast<unsigned char>(c);
    if (hexDigits > 0) return takeHexDigit(c, at);
    if (isEscape) return takeEscape(c, at);
    if (continuations > 0) {
        if (byte < least || byte > most) return false;
        least = 0x80;
        most = 0xBF;
        if (--continuations == 0) textEnd = at + 1;
        return true;
    }
    isEscape = c == '\\';
    if (isEscape) return true;
    if (isHighSurrogate || byte < 0x20) return false;
    if (byte >= 0x80) return beginCharacter(byte);
    if (c != '"') {
        textEnd = at + 1;
        return true;
    }
    if (!isKey) usable = at + 1;
    state = isKey ? State::colon : State::afterValue;
    return true;
}

bool PartialJson::takeEscape(char c, std::size_t at) {
    isEscape = false;
    if (c == 'u') {
        hexDigits = 4;
        unit = 0;
        return true;
    }
    if (isHighSurrogate || !isAny(c, "\"\\/bfnrt")) return false;
    textEnd = at + 1;
    return true;
}

bool PartialJson::takeHexDigit(char c, std::size_t at) {
    constexpr std::string_view digits = "0123456789abcdef0123456789ABCDEF";
    const auto digit = digits.find(c);
    if (digit == digits.npos) return false;
    unit = unit * 16 + static_cast<std::uint32_t>(digit % 16);
    if (--hexDigits > 0) return true;
    const bool isHigh = unit >= 0xD800 && unit < 0xDC00;
    const bool isLow = unit >= 0xDC00 && unit < 0xE000;
    if (isLow != std::exchange(isHighSurrogate, isHigh)) return false;
    if (!isHigh) textEnd = at + 1;
    return true;
}

/// The table of well-formed sequences, Unicode 15, table 3-7.
bool PartialJson::beginCharacter(unsigned char lead) {
    if (lead < 0xC2 || lead > 0xF4) return false;
    continuations = lead < 0xE0 ? 1 : lead < 0xF0 ? 2 : 3;
    if (lead == 0xE0) least = 0xA0;
    if (lead == 0xED) most = 0x9F;
    if (lead == 0xF0) least = 0x90;
    if (lead == 0xF4) most = 0x8F;
    return true;
}

void PartialJson::beginContainer(char c, std::size_t at) {
    open += c;
    usable = at + 1;
    state = c == '{' ? State::firstKey : State::firstElement;
}

bool PartialJson::close(char opening, std::size_t at) {
    if (open.empty() || open.back() != opening) return false;
    open.pop_back();
    usable = at + 1;
    state = open.empty() ? State::whole : State::afterValue;
    return true;
}

} // namespace nimbe
