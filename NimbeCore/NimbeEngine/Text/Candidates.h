#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

namespace nimbe {

/// A place where a pattern could match.
struct Candidate {
    /// Where the leftmost match would begin.
    std::size_t start = 0;
    /// Where to look on when there is none at `start`: no match begins before.
    std::size_t resume = 0;
};

/// What a scan keeps from one candidate to the next, so that it reads a stretch
/// of text once and not again for every candidate before it.
struct CandidateMemory {
    static constexpr std::size_t unknown = 0;
    std::size_t closer = unknown;           // the next spoken closing parenthesis
    std::size_t closerContentEnd = unknown; // behind the text before that command
    std::size_t lineBreak = unknown;
};

/// The next candidate of a pattern at or behind `from`; what is before `from` is
/// taken. A scan names every place at which the pattern's leftmost match can
/// begin, and may name others. All scans of a text together read it a bounded
/// number of times.
///
/// Case-insensitive scans know what ICU's case folding adds to ASCII letters: the
/// long s (U+017F), which folds to s, and the Kelvin sign (U+212A) to k.
using CandidateScan = std::optional<Candidate> (*)(
    std::u16string_view text, std::size_t from, CandidateMemory& memory);

namespace candidates {

/// "[open] parenthesis … close parenthesis" within a line.
std::optional<Candidate> spokenParentheses(
    std::u16string_view text, std::size_t from, CandidateMemory& memory);

/// "new paragraph" and "new line" with the comma and white space before them.
std::optional<Candidate> newParagraph(
    std::u16string_view text, std::size_t from, CandidateMemory& memory);
std::optional<Candidate> newLine(
    std::u16string_view text, std::size_t from, CandidateMemory& memory);

/// White space behind "(" and before ")".
std::optional<Candidate> spaceAfterOpening(
    std::u16string_view text, std::size_t from, CandidateMemory& memory);
std::optional<Candidate> spaceBeforeClosing(
    std::u16string_view text, std::size_t from, CandidateMemory& memory);

/// Two or more spaces or tabs; any number of them before , . ; : ! or ?
std::optional<Candidate> blankRun(
    std::u16string_view text, std::size_t from, CandidateMemory& memory);
std::optional<Candidate> blanksBeforePunctuation(
    std::u16string_view text, std::size_t from, CandidateMemory& memory);

/// A filler word ("uh", "umm", "er", "erm", "ah", "hm").
std::optional<Candidate> filler(
    std::u16string_view text, std::size_t from, CandidateMemory& memory);

/// Spaces, tabs and commas at the start of the text or of a line.
std::optional<Candidate> lineStartDebris(
    std::u16string_view text, std::size_t from, CandidateMemory& memory);

/// Two commas with nothing but spaces and tabs between them.
std::optional<Candidate> commaRun(
    std::u16string_view text, std::size_t from, CandidateMemory& memory);

/// True when only white space stands before a possible filler at the start.
[[nodiscard]] bool beginsLikeFiller(std::u16string_view text);

} // namespace candidates
} // namespace nimbe
