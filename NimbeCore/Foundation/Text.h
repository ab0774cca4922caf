#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Foundation/Locale.h"
#include "Foundation/Utf8.h"

namespace nimbe {

/// Text is UTF-8 in std::string; the steps that need ICU work on UTF-16. What
/// white space, letters and alphanumerics are is Unicode's word, not a locale's.
namespace text {

/// Any White_Space character: blanks, line breaks, U+0085, U+2028, U+2029.
[[nodiscard]] bool isWhiteSpace(char16_t c);

/// White space within a line: general category Zs and the tab.
[[nodiscard]] bool isBlank(char16_t c);

struct Utf16 {
    std::u16string text;
    /// How many ill-formed sequences became U+FFFD.
    std::size_t replaced = 0;
};

/// For text of up to 2^31 - 1 bytes.
[[nodiscard]] Utf16 toUtf16(std::string_view utf8);

/// A lone surrogate becomes U+FFFD.
[[nodiscard]] std::string toUtf8(std::u16string_view utf16);

/// The text itself when it is UTF-8; else with U+FFFD for each ill-formed sequence.
[[nodiscard]] std::string mended(std::string text);

/// Without white space and line breaks at both ends.
[[nodiscard]] std::u16string_view trimmed(std::u16string_view text);

/// The same in place.
void trim(std::u16string& text);

/// Without blanks at both ends; line breaks stay.
[[nodiscard]] std::u16string_view blanksTrimmed(std::u16string_view text);

/// Same as trimmed, for UTF-8.
[[nodiscard]] std::string_view trimmed(std::string_view utf8);

/// By Unicode's own rules, of no language in particular; the length may change.
[[nodiscard]] std::u16string lowerCase(std::u16string_view text);

/// The same for UTF-8, and with accents composed (NFC), so that texts which look alike
/// are alike; a sigma has its usual form at the end of a word too, so that a part of a word
/// is one.
[[nodiscard]] std::string lowerCase(std::string_view utf8);
void appendLowerCase(std::string& to, std::string_view utf8);

/// What stands between white space.
[[nodiscard]] std::vector<std::string> words(std::string_view utf8);

/// The first `most` user-perceived characters, or all of them where there are fewer.
[[nodiscard]] std::string_view beginning(std::string_view utf8, std::size_t most);

/// User-perceived characters.
[[nodiscard]] std::size_t characterCount(std::string_view utf8);

/// For a line on a terminal: at most `most` user-perceived characters, control
/// characters and line breaks as single blanks, "…" where text was left out.
[[nodiscard]] std::string onOneLine(std::string_view utf8, std::size_t most);

/// The same for the end of a text: the last `most` characters, "…" in front where
/// text was left out.
[[nodiscard]] std::string ending(std::string_view utf8, std::size_t most);

/// With blanks at its end up to `length` user-perceived characters.
[[nodiscard]] std::string padded(std::string text, std::size_t length);

/// True when a word that ends before `at` goes on there or is marked there: no
/// word boundary of a pattern (\b) stands between them.
[[nodiscard]] bool continuesWord(std::u16string_view text, std::size_t at);

/// Looks for one text in others. Texts that differ only in case, by the rules of the
/// locale's language, or in how their accents are written are equal.
class CaselessSearch {
public:
    CaselessSearch(std::string_view query, const Locale& locale);

    /// An empty query is found nowhere. Linear; fastest where all is ASCII.
    [[nodiscard]] bool isFoundIn(std::string_view utf8) const;

private:
    bool isTurkic = false;
    std::u16string folded;
    std::optional<std::string> ascii; // the folded query where it is ASCII
};

struct Range {
    std::size_t begin = 0;
    std::size_t end = 0;
};

/// The first user-perceived character that is a letter, marks included.
[[nodiscard]] std::optional<Range> firstLetter(std::u16string_view text);

/// Puts that character into its upper-case form, which may be longer.
void capitalizeFirstLetter(std::u16string& text);

/// The same, but only for a character that is lower case.
void capitalizeFirstLetterIfLowerCase(std::u16string& text);

/// True when `text` holds at least `count` scalars of the general categories
/// L*, M* and N*: letters, their marks, and numbers.
[[nodiscard]] bool hasAlphanumerics(std::u16string_view text, std::size_t count);

} // namespace text
} // namespace nimbe
