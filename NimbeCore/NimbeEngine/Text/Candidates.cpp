#include "NimbeEngine/Text/Candidates.h"

#include "Foundation/Text.h"

namespace nimbe::candidates {
namespace {

using text::isWhiteSpace;
constexpr std::size_t npos = std::u16string_view::npos;

/// The spaces of the patterns' [ \t].
constexpr bool isSpaceOrTab(char16_t c) {
    return c == u' ' || c == u'\t';
}

constexpr bool isAsciiWord(char16_t c) {
    return (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z') || (c >= u'0' && c <= u'9') ||
           c == u'_';
}

/// The patterns' [,.;:!?].
constexpr bool isPunctuation(char16_t c) {
    return c == u',' || c == u'.' || c == u';' || c == u':' || c == u'!' || c == u'?';
}

/// What the pattern's dot stops at.
constexpr bool isLineBreak(char16_t c) {
    return (c >= 0x0A && c <= 0x0D) || c == 0x85 || c == 0x2028 || c == 0x2029;
}

constexpr char16_t folded(char16_t c) {
    if (c >= u'A' && c <= u'Z') return static_cast<char16_t>(c + (u'a' - u'A'));
    if (c == 0x017F) return u's';
    if (c == 0x212A) return u'k';
    return c;
}

/// True when `word` (lower case) stands at `at`, whatever its letters' case.
bool hasWord(std::u16string_view text, std::size_t at, std::u16string_view word) {
    if (text.size() - at < word.size()) return false;
    for (std::size_t i = 0; i < word.size(); ++i)
        if (folded(text[at + i]) != word[i]) return false;
    return true;
}

/// True when `word` stands just before `end`, at or behind `from`.
bool hasWordBefore(
    std::u16string_view text, std::size_t from, std::size_t end, std::u16string_view word) {
    return end - from >= word.size() && hasWord(text, end - word.size(), word);
}

/// The first place at or behind `from` where `isWanted`, else npos. Goes by
/// blocks without a branch inside, which the compiler turns into vector code.
template <typename Predicate>
std::size_t findIf(std::u16string_view text, std::size_t from, Predicate isWanted) {
    constexpr std::size_t block = 32;
    std::size_t at = from;
    while (text.size() - at >= block) {
        unsigned any = 0;
        for (std::size_t i = 0; i < block; ++i) any |= isWanted(text[at + i]) ? 1U : 0U;
        if (any != 0) break;
        at += block;
    }
    for (; at < text.size(); ++at) {
        if (isWanted(text[at])) return at;
    }
    return npos;
}

template <typename Predicate>
std::size_t skip(std::u16string_view text, std::size_t at, Predicate isSkipped) {
    while (at < text.size() && isSkipped(text[at])) ++at;
    return at;
}

/// The start of the run of skipped characters that ends at `end`.
template <typename Predicate>
std::size_t runBegin(
    std::u16string_view text, std::size_t from, std::size_t end, Predicate isSkipped) {
    while (end > from && isSkipped(text[end - 1])) --end;
    return end;
}

constexpr std::u16string_view parenthesis = u"parenthes";
constexpr std::size_t parenthesisSize = 11; // with [ei]s

/// The next "parenthesis" or "parentheses" at or behind `from`, else npos.
std::size_t findParenthesis(std::u16string_view text, std::size_t from) {
    for (std::size_t at = from;; ++at) {
        at = findIf(text, at, [](char16_t c) { return c == u'p' || c == u'P'; });
        if (at == npos || text.size() - at < parenthesisSize) return npos;
        if (!hasWord(text, at, parenthesis)) continue;
        const char16_t vowel = folded(text[at + parenthesis.size()]);
        const bool isSpelled = vowel == u'e' || vowel == u'i';
        if (isSpelled && folded(text[at + parenthesisSize - 1]) == u's') return at;
    }
}

/// Where the closing command begins whose last word stands at `at`, else npos.
std::size_t closingCommand(std::u16string_view text, std::size_t at) {
    const std::size_t end = at + parenthesisSize;
    if (end < text.size() && isAsciiWord(text[end])) return npos;
    const std::size_t gap = runBegin(text, 0, at, isWhiteSpace);
    if (gap == at) return npos;
    for (const std::u16string_view word : {u"end", u"close"}) {
        if (!hasWordBefore(text, 0, gap, word)) continue;
        const std::size_t begin = gap - word.size();
        if (begin > 0 && isWhiteSpace(text[begin - 1])) return begin;
    }
    return npos;
}

/// Finds the closing command behind the opening word at `opening`.
bool findCloser(std::u16string_view text, std::size_t opening, CandidateMemory& memory) {
    if (memory.closer != CandidateMemory::unknown && memory.closer > opening)
        return memory.closer != npos;
    std::size_t at = opening;
    while ((at = findParenthesis(text, at + 1)) != npos) {
        const std::size_t command = closingCommand(text, at);
        if (command == npos) continue;
        memory.closer = at;
        memory.closerContentEnd = runBegin(text, 0, command, isWhiteSpace);
        return true;
    }
    memory.closer = npos;
    return false;
}

std::optional<Candidate> newCommand(
    std::u16string_view text, std::size_t from, std::u16string_view what) {
    // The w of "new" is rarer than its n.
    for (std::size_t w = from;; ++w) {
        w = findIf(text, w, [](char16_t c) { return c == u'w' || c == u'W'; });
        if (w == npos) return std::nullopt;
        if (!hasWordBefore(text, from, w, u"ne")) continue;
        const std::size_t word = skip(text, w + 1, isWhiteSpace);
        if (word == w + 1 || !hasWord(text, word, what)) continue;
        const std::size_t begin = w - 2;
        std::size_t start = runBegin(text, from, begin, isWhiteSpace);
        if (start > from && text[start - 1] == u',') --start;
        return Candidate{start, w + 1};
    }
}

bool isFillerAt(std::u16string_view text, std::size_t at) {
    if (text.size() - at < 2) return false;
    const char16_t second = folded(text[at + 1]);
    switch (folded(text[at])) {
    case u'u': return second == u'h' || second == u'm';
    case u'e': return second == u'r';
    case u'a': return second == u'h';
    case u'h': return second == u'm';
    default: return false;
    }
}

} // namespace

std::optional<Candidate> spokenParentheses(
    std::u16string_view text, std::size_t from, CandidateMemory& memory) {
    std::size_t opening = findParenthesis(text, from);
    for (; opening != npos; opening = findParenthesis(text, opening + 1)) {
        if (!findCloser(text, opening, memory)) return std::nullopt;

        // The enclosed text cannot cross a line; the white space around it can.
        std::size_t content = opening + parenthesisSize;
        if (text[content] == u',' || text[content] == u'.') ++content;
        content = skip(text, content, isWhiteSpace);
        if (memory.lineBreak == CandidateMemory::unknown || memory.lineBreak < content)
            memory.lineBreak = findIf(text, content, isLineBreak);
        if (memory.lineBreak < memory.closerContentEnd) continue;

        const std::size_t gap = runBegin(text, from, opening, isWhiteSpace);
        if (gap == opening || !hasWordBefore(text, from, gap, u"open"))
            return Candidate{opening, opening + 1};
        // "reopen parenthesis" fails at "open" and matches behind it.
        return Candidate{gap - 4, opening};
    }
    return std::nullopt;
}

std::optional<Candidate> newParagraph(
    std::u16string_view text, std::size_t from, CandidateMemory& /*memory*/) {
    return newCommand(text, from, u"paragraph");
}

std::optional<Candidate> newLine(
    std::u16string_view text, std::size_t from, CandidateMemory& /*memory*/) {
    return newCommand(text, from, u"line");
}

std::optional<Candidate> spaceAfterOpening(
    std::u16string_view text, std::size_t from, CandidateMemory& /*memory*/) {
    for (std::size_t at = from;; ++at) {
        at = findIf(text, at, [](char16_t c) { return c == u'('; });
        if (at == npos) return std::nullopt;
        if (at + 1 < text.size() && isWhiteSpace(text[at + 1])) return Candidate{at, at + 1};
    }
}

std::optional<Candidate> spaceBeforeClosing(
    std::u16string_view text, std::size_t from, CandidateMemory& /*memory*/) {
    for (std::size_t at = from;; ++at) {
        at = findIf(text, at, [](char16_t c) { return c == u')'; });
        if (at == npos) return std::nullopt;
        const std::size_t start = runBegin(text, from, at, isWhiteSpace);
        if (start < at) return Candidate{start, at + 1};
    }
}

std::optional<Candidate> blankRun(
    std::u16string_view text, std::size_t from, CandidateMemory& /*memory*/) {
    for (std::size_t at = from;; ++at) {
        at = findIf(text, at, isSpaceOrTab);
        if (at == npos || at + 1 == text.size()) return std::nullopt;
        if (isSpaceOrTab(text[at + 1])) return Candidate{at, at + 1};
    }
}

std::optional<Candidate> blanksBeforePunctuation(
    std::u16string_view text, std::size_t from, CandidateMemory& /*memory*/) {
    for (std::size_t at = from;; ++at) {
        at = findIf(text, at, isPunctuation);
        if (at == npos) return std::nullopt;
        const std::size_t start = runBegin(text, from, at, isSpaceOrTab);
        if (start < at) return Candidate{start, at + 1};
    }
}

std::optional<Candidate> filler(
    std::u16string_view text, std::size_t from, CandidateMemory& /*memory*/) {
    for (std::size_t at = from; at < text.size(); ++at) {
        if (!isFillerAt(text, at)) continue;
        if (at == 0 || !isAsciiWord(text[at - 1])) return Candidate{at, at + 1};
    }
    return std::nullopt;
}

std::optional<Candidate> lineStartDebris(
    std::u16string_view text, std::size_t from, CandidateMemory& /*memory*/) {
    const auto isDebris = [](char16_t c) {
        return isSpaceOrTab(c) || c == u',';
    };
    if (from == 0 && !text.empty() && isDebris(text[0])) return Candidate{0, 1};
    for (std::size_t at = from;; ++at) {
        at = findIf(text, at, [](char16_t c) { return c == u'\n'; });
        if (at == npos || at + 1 == text.size()) return std::nullopt;
        if (isDebris(text[at + 1])) return Candidate{at, at + 1};
    }
}

std::optional<Candidate> commaRun(
    std::u16string_view text, std::size_t from, CandidateMemory& /*memory*/) {
    for (std::size_t at = from;;) {
        at = findIf(text, at, [](char16_t c) { return c == u','; });
        if (at == npos) return std::nullopt;
        const std::size_t next = skip(text, at + 1, isSpaceOrTab);
        if (next < text.size() && text[next] == u',') return Candidate{at, at + 1};
        at = next;
    }
}

bool beginsLikeFiller(std::u16string_view text) {
    const std::size_t begin = skip(text, 0, isWhiteSpace);
    return isFillerAt(text, begin);
}

} // namespace nimbe::candidates
