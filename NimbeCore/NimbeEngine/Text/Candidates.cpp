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
    const int lower = c | 0x20;
    return ((lower >= u'a') & (lower <= u'z')) | ((c >= u'0') & (c <= u'9')) | (c == u'_');
}

/// The patterns' [,.;:!?].
constexpr bool isPunctuation(char16_t c) {
    return (c == u',') | (c == u'.') | (c == u';') | (c == u':') | (c == u'!') | (c == u'?');
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

/// The first place at or behind `from` where `isWanted` of the `width` characters
/// there, else npos. Goes by blocks of a fixed length without a branch inside,
/// which compilers turn into vector code; so the predicates use | and & where ||
/// and && would be branches.
template <std::size_t width, typename Predicate>
std::size_t findPlace(std::u16string_view text, std::size_t from, Predicate isWanted) {
    constexpr std::size_t block = 32;
    if (text.size() < width) return npos;
    const std::size_t end = text.size() - width + 1; // of the places
    const auto hasNone = [&](std::size_t begin) {
        const char16_t* here = text.data() + begin;
        char16_t any = 0;
        for (std::size_t i = 0; i < block; ++i)
            any = static_cast<char16_t>(any | (isWanted(here + i) ? 1 : 0));
        return any == 0;
    };
    std::size_t at = from;
    while (at + block <= end && hasNone(at)) at += block;
    // What is left is less than a block: one that ends with the text covers it.
    if (at < end && at + block > end && end >= block && hasNone(end - block)) return npos;
    for (; at < end; ++at) {
        if (isWanted(text.data() + at)) return at;
    }
    return npos;
}

/// The first such character at or behind `from`, else npos.
template <typename Predicate>
std::size_t findIf(std::u16string_view text, std::size_t from, Predicate isWanted) {
    return findPlace<1>(text, from, [=](const char16_t* c) { return isWanted(*c); });
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
    // Exactly the pattern's end: a command that it refuses would have it read on
    // to the end of the line from every opening.
    if (text::continuesWord(text, at + parenthesisSize)) return npos;
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
    const auto isNew = [](const char16_t* c) {
        return ((c[0] | 0x20) == 'n') & ((c[1] | 0x20) == 'e') & ((c[2] | 0x20) == 'w');
    };
    for (std::size_t at = from;; ++at) {
        at = findPlace<3>(text, at, isNew);
        if (at == npos) return std::nullopt;
        const std::size_t end = at + 3;
        const std::size_t word = skip(text, end, isWhiteSpace);
        if (word == end || !hasWord(text, word, what)) continue;
        std::size_t start = runBegin(text, from, at, isWhiteSpace);
        if (start > from && text[start - 1] == u',') --start;
        return Candidate{start, end};
    }
}

/// True for the first two letters of a filler; without branches, see findPlace.
constexpr bool beginsFiller(char16_t first, char16_t second) {
    const int a = first | 0x20; // ASCII letters to lower case; nothing else becomes one
    const int b = second | 0x20;
    const bool ofU = (a == 'u') & ((b == 'h') | (b == 'm'));
    return ofU | ((a == 'e') & (b == 'r')) | ((a == 'a') & (b == 'h')) | ((a == 'h') & (b == 'm'));
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
    const auto isTwo = [](const char16_t* c) {
        return isSpaceOrTab(c[0]) & isSpaceOrTab(c[1]);
    };
    const std::size_t at = findPlace<2>(text, from, isTwo);
    if (at == npos) return std::nullopt;
    return Candidate{at, at + 1};
}

std::optional<Candidate> blanksBeforePunctuation(
    std::u16string_view text, std::size_t from, CandidateMemory& /*memory*/) {
    // All of the punctuation is between ! and ?, and little else behind a blank.
    const auto isNear = [](const char16_t* c) {
        return isSpaceOrTab(c[0]) & (c[1] >= u'!') & (c[1] <= u'?');
    };
    for (std::size_t last = from;; ++last) {
        last = findPlace<2>(text, last, isNear);
        if (last == npos) return std::nullopt;
        if (isPunctuation(text[last + 1]))
            return Candidate{runBegin(text, from, last, isSpaceOrTab), last + 1};
    }
}

std::optional<Candidate> filler(
    std::u16string_view text, std::size_t from, CandidateMemory& /*memory*/) {
    if (from == 0 && text.size() >= 2 && beginsFiller(text[0], text[1])) return Candidate{0, 1};
    // No letter stands before it; the pairs inside words would hold up the scan.
    const auto isFiller = [](const char16_t* c) {
        const bool isInWord = isAsciiWord(c[0]);
        return beginsFiller(c[1], c[2]) & (isInWord ^ true);
    };
    const std::size_t before = findPlace<3>(text, from == 0 ? 0 : from - 1, isFiller);
    if (before == npos) return std::nullopt;
    return Candidate{before + 1, before + 2};
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
    return text.size() - begin >= 2 && beginsFiller(text[begin], text[begin + 1]);
}

} // namespace nimbe::candidates
