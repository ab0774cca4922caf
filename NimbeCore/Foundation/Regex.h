#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "Foundation/Text.h"

namespace nimbe {

/// A pattern in ICU's syntax, compiled on first use and then shared: any thread
/// may match with it. Every run is bounded (Regex::longestRun and ICU's own
/// backtracking stack), so that no text, however built, makes it hang.
///
/// https://unicode-org.github.io/icu/userguide/strings/regexp.html
class Regex {
public:
    enum class Case { sensitive, insensitive };

    /// A wrong pattern is not an error here: it is past every limit at once.
    explicit Regex(std::u16string_view pattern, Case letterCase = Case::sensitive);
    ~Regex();
    Regex(const Regex&) = delete;
    Regex& operator=(const Regex&) = delete;

    [[nodiscard]] bool compiles() const;

    /// The steps that one run over one text may take: points to which the engine
    /// may have to go back. It counts them in lots of ten thousand and forgets
    /// the last one of each attempt, so who tries many places must know that each
    /// is short. Ten million take 65 ms on the machine of the README's table; a
    /// megabyte of dictated prose needs a tenth of them.
    static constexpr std::size_t longestRun = 10'000'000;

    /// ICU's stack for going back, in bytes (its own default).
    static constexpr std::int32_t largestStack = 8'000'000;

    /// One run over one text, which must outlive it. One thread.
    class Run;

    /// Where the pattern first matches: the whole match, then its groups, one
    /// that took no part absent. Absent too when the limits are exceeded.
    using Groups = std::vector<std::optional<text::Range>>;
    [[nodiscard]] std::optional<Groups> firstMatch(std::u16string_view text) const;

private:
    struct Compiled;
    std::unique_ptr<Compiled> compiled;
};

class Regex::Run {
public:
    enum class Outcome { match, noMatch, pastLimits };

    Run(const Regex& regex, std::u16string_view text);
    ~Run();
    Run(const Run&) = delete;
    Run& operator=(const Run&) = delete;

    /// A match that begins exactly at `position`; look-behind and word
    /// boundaries see the text before it.
    [[nodiscard]] Outcome matchAt(std::size_t position);

    /// The next match behind the previous one; from the start at first.
    [[nodiscard]] Outcome findNext();

    /// Of the last match; 0 is the whole of it. Absent: it took no part.
    [[nodiscard]] std::optional<text::Range> group(int number) const;
    [[nodiscard]] int groupCount() const;

private:
    struct State;
    std::unique_ptr<State> state;
};

/// A replacement template in ICU's form: "$1" is a group (one digit), a
/// backslash takes the next character as it is.
class Replacement {
public:
    explicit Replacement(std::u16string_view pattern);

    /// Appends what replaces the last match of `run` over `text`.
    void appendTo(std::u16string& output, std::u16string_view text, const Regex::Run& run) const;

private:
    std::vector<std::variant<std::u16string, int>> pieces;
};

/// Replaces all non-overlapping matches, left to right. False, with the text
/// unchanged, when the limits are exceeded.
bool replaceAll(std::u16string& text, const Regex& regex, const Replacement& replacement);

} // namespace nimbe
