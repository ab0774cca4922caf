#include "Foundation/Text.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include <unicode/brkiter.h>
#include <unicode/locid.h>
#include <unicode/normalizer2.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>
#include <unicode/ustring.h>
#include <unicode/utf16.h>

namespace nimbe::text {
namespace {

constexpr UChar32 replacement = 0xFFFD;

// ICU's macros convert as C does.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wconversion"
#pragma GCC diagnostic ignored "-Wsign-conversion"
#pragma GCC diagnostic ignored "-Wold-style-cast"

/// The scalar at `at`, which moves behind it; a lone surrogate stands for itself.
UChar32 nextScalar(std::u16string_view text, std::size_t& at) {
    UChar32 c = 0;
    U16_NEXT(text.data(), at, text.size(), c);
    return c;
}

/// The same for UTF-8; negative where it is ill-formed.
UChar32 nextScalar(std::string_view utf8, std::int32_t& at) {
    UChar32 c = 0;
    U8_NEXT(utf8.data(), at, static_cast<std::int32_t>(utf8.size()), c);
    return c;
}

/// The scalar before `at`, which moves to its start.
UChar32 previousScalar(std::string_view utf8, std::int32_t& at) {
    UChar32 c = 0;
    U8_PREV(utf8.data(), 0, at, c);
    return c;
}

#pragma GCC diagnostic pop

/// The view as ICU sees it, without a copy: the view must outlive the result.
icu::UnicodeString aliased(std::u16string_view text) {
    return {false, text.data(), static_cast<std::int32_t>(text.size())};
}

/// Finds the ends of user-perceived characters; ICU's iterator is made on the
/// first character that needs it.
class Characters {
public:
    explicit Characters(std::u16string_view text) : text(text) {}

    [[nodiscard]] bool beginsAt(std::size_t offset) {
        if (isPlain(offset)) return true;
        auto* characters = iterator();
        return characters == nullptr || characters->isBoundary(static_cast<std::int32_t>(offset));
    }

    /// The next boundary behind `offset`.
    [[nodiscard]] std::size_t after(std::size_t offset) {
        auto* characters = isPlain(offset) ? nullptr : iterator();
        if (characters == nullptr) return offset + 1;
        return static_cast<std::size_t>(characters->following(static_cast<std::int32_t>(offset)));
    }

private:
    /// An ASCII letter between ASCII characters stands for itself.
    [[nodiscard]] bool isPlain(std::size_t offset) const {
        const auto isAscii = [&](std::size_t at) {
            return text[at] < 0x80;
        };
        return isAscii(offset) && (offset == 0 || isAscii(offset - 1)) &&
               (offset + 1 == text.size() || isAscii(offset + 1));
    }

    icu::BreakIterator* iterator() {
        if (!iterated && !unavailable) {
            UErrorCode status = U_ZERO_ERROR;
            iterated.reset(
                icu::BreakIterator::createCharacterInstance(icu::Locale::getRoot(), status));
            unavailable = U_FAILURE(status) || !iterated;
            whole = aliased(text);
            if (!unavailable) iterated->setText(whole);
        }
        return unavailable ? nullptr : iterated.get();
    }

    std::u16string_view text;
    icu::UnicodeString whole;
    std::unique_ptr<icu::BreakIterator> iterated;
    bool unavailable = false;
};

std::u16string upperCase(std::u16string_view text) {
    icu::UnicodeString upper(text.data(), static_cast<std::int32_t>(text.size()));
    upper.toUpper(icu::Locale::getRoot());
    return {upper.getBuffer(), static_cast<std::size_t>(upper.length())};
}

bool isLowerCase(std::u16string_view character) {
    icu::UnicodeString lower(character.data(), static_cast<std::int32_t>(character.size()));
    lower.toLower(icu::Locale::getRoot());
    return lower == aliased(character) && upperCase(character) != character;
}

template <typename Predicate>
std::u16string_view trimmedOf(std::u16string_view text, Predicate isTrimmed) {
    while (!text.empty() && isTrimmed(text.front())) text.remove_prefix(1);
    while (!text.empty() && isTrimmed(text.back())) text.remove_suffix(1);
    return text;
}

bool isAllAscii(std::string_view utf8) {
    unsigned char all = 0; // without a branch, so that it goes by vectors
    for (const char c : utf8) all = static_cast<unsigned char>(all | static_cast<unsigned char>(c));
    return all < 0x80;
}

/// Whether each byte is a user-perceived character of its own, as all of ASCII is but for a
/// carriage return, which is one with the line feed behind it.
bool areSingleCharacters(std::string_view utf8) {
    const auto isOther = [](const char* bytes, std::size_t size) {
        unsigned char any = 0; // as above
        for (std::size_t i = 0; i < size; ++i) {
            const bool isReturn = bytes[i] == '\r';
            any = static_cast<unsigned char>(any | static_cast<unsigned char>(bytes[i]) |
                                             static_cast<unsigned char>(isReturn ? 0x80 : 0));
        }
        return any >= 0x80;
    };
    constexpr std::size_t block = 16;
    const char* const end = utf8.data() + utf8.size();
    if (utf8.size() < block) return !isOther(utf8.data(), utf8.size());
    for (const char* at = utf8.data(); at < end - block; at += block)
        if (isOther(at, block)) return false;
    return !isOther(end - block, block);
}

/// With accents composed. Where more marks than this follow each other, ICU would sort them
/// in quadratic time; no writing has more than 30 (https://www.unicode.org/reports/tr15,
/// "Stream-Safe Text Format"), and what has is composed in pieces.
icu::UnicodeString composed(const icu::UnicodeString& text) {
    constexpr int mostMarks = 30;
    UErrorCode error = U_ZERO_ERROR;
    const auto* composing = icu::Normalizer2::getNFCInstance(error);
    if (U_FAILURE(error)) std::abort(); // ICU without its data
    std::int32_t begin = composing->spanQuickCheckYes(text, error);
    if (begin == text.length()) return text;
    icu::UnicodeString result(text, 0, begin);
    int marks = 0;
    for (std::int32_t at = begin; at < text.length(); at = text.moveIndex32(at, 1)) {
        marks = composing->hasBoundaryBefore(text.char32At(at)) ? 0 : marks + 1;
        if (marks <= mostMarks) continue;
        result += composing->normalize(text.tempSubStringBetween(begin, at), error);
        begin = at;
        marks = 1;
    }
    return result += composing->normalize(text.tempSubString(begin), error);
}

std::u16string foldedCase(std::string_view utf8, bool isTurkic) {
    // Composed, so that a plain letter is not found in an accented one.
    auto text = composed(icu::UnicodeString::fromUTF8(
        icu::StringPiece(utf8.data(), static_cast<int32_t>(utf8.size()))));
    text.foldCase(isTurkic ? U_FOLD_CASE_EXCLUDE_SPECIAL_I : U_FOLD_CASE_DEFAULT);
    text = composed(text);
    return {text.getBuffer(), static_cast<std::size_t>(text.length())};
}

} // namespace

bool isWhiteSpace(char16_t c) {
    if (c < 0x80) return c == u' ' || (c >= u'\t' && c <= u'\r');
    return u_isUWhiteSpace(c);
}

bool isBlank(char16_t c) {
    if (c < 0x80) return c == u' ' || c == u'\t';
    return u_charType(c) == U_SPACE_SEPARATOR;
}

Utf16 toUtf16(std::string_view utf8) {
    Utf16 result;
    result.text.resize(utf8.size()); // never more code units than bytes
    std::int32_t length = 0;
    std::int32_t replaced = 0;
    UErrorCode status = U_ZERO_ERROR;
    u_strFromUTF8WithSub(result.text.data(), static_cast<std::int32_t>(result.text.size()), &length,
        utf8.data(), static_cast<std::int32_t>(utf8.size()), replacement, &replaced, &status);
    result.text.resize(static_cast<std::size_t>(length));
    result.replaced = static_cast<std::size_t>(replaced);
    return result;
}

std::string toUtf8(std::u16string_view utf16) {
    std::string result;
    result.resize(utf16.size() * 3); // the most that one code unit takes
    std::int32_t length = 0;
    UErrorCode status = U_ZERO_ERROR;
    u_strToUTF8WithSub(result.data(), static_cast<std::int32_t>(result.size()), &length,
        utf16.data(), static_cast<std::int32_t>(utf16.size()), replacement, nullptr, &status);
    result.resize(static_cast<std::size_t>(length));
    return result;
}

std::string mended(std::string text) {
    return isValidUtf8(text) ? std::move(text) : toUtf8(toUtf16(text).text);
}

std::u16string_view trimmed(std::u16string_view text) {
    return trimmedOf(text, [](char16_t c) { return isWhiteSpace(c); });
}

void trim(std::u16string& text) {
    const auto kept = trimmed(std::u16string_view(text));
    const auto begin = static_cast<std::size_t>(kept.data() - text.data());
    text.resize(begin + kept.size());
    text.erase(0, begin);
}

std::u16string_view blanksTrimmed(std::u16string_view text) {
    return trimmedOf(text, [](char16_t c) { return isBlank(c); });
}

std::string_view trimmed(std::string_view utf8) {
    const auto isTrimmed = [](UChar32 c) {
        return c >= 0 && u_isUWhiteSpace(c);
    };
    auto end = static_cast<std::int32_t>(utf8.size());
    for (std::int32_t at = end; at > 0 && isTrimmed(previousScalar(utf8, at));) end = at;
    const auto kept = utf8.substr(0, static_cast<std::size_t>(end));
    std::int32_t begin = 0;
    for (std::int32_t at = 0; at < end && isTrimmed(nextScalar(kept, at));) begin = at;
    return kept.substr(static_cast<std::size_t>(begin));
}

std::string onOneLine(std::string_view utf8, std::size_t most) {
    // Enough for the longest characters, and no more of a long text.
    constexpr std::size_t unitsPerCharacter = 32;
    auto all = toUtf16(trimmed(utf8)).text;
    const bool isCut = all.size() > most * unitsPerCharacter;
    if (isCut) all.resize(most * unitsPerCharacter);
    std::u16string line;
    for (const char16_t c : all) {
        const bool isBlank = isWhiteSpace(c) || u_charType(c) == U_CONTROL_CHAR;
        if (!isBlank)
            line += c;
        else if (!line.empty() && line.back() != u' ')
            line += u' ';
    }
    Characters characters(line);
    std::size_t end = 0;
    for (std::size_t count = 0; count < most && end < line.size(); ++count)
        end = characters.after(end);
    if (end == line.size() && !isCut) return toUtf8(line);
    line.resize(end);
    return toUtf8(line) + "…";
}

std::string ending(std::string_view utf8, std::size_t most) {
    const auto all = toUtf16(trimmed(utf8)).text;
    Characters characters(all);
    std::vector<std::size_t> begins;
    for (std::size_t at = 0; at < all.size(); at = characters.after(at)) begins.push_back(at);
    if (begins.size() <= most) return onOneLine(utf8, most);
    if (most < 2) return most == 0 ? "" : "…";
    const auto begin = begins[begins.size() - (most - 1)];
    return "…" + onOneLine(toUtf8(std::u16string_view(all).substr(begin)), most);
}

std::u16string lowerCase(std::u16string_view text) {
    icu::UnicodeString lower(text.data(), static_cast<std::int32_t>(text.size()));
    lower.toLower(icu::Locale::getRoot());
    return {lower.getBuffer(), static_cast<std::size_t>(lower.length())};
}

void appendLowerCase(std::string& to, std::string_view utf8) {
    const auto begin = to.size();
    to += utf8;
    char* const added = to.data() + begin;
    unsigned char all = 0; // without a branch, so that it goes by vectors
    for (std::size_t i = 0; i < utf8.size(); ++i) {
        const auto c = static_cast<unsigned char>(added[i]);
        all = static_cast<unsigned char>(all | c);
        const auto bit = static_cast<unsigned char>(c >= 'A' && c <= 'Z' ? 0x20 : 0);
        added[i] = static_cast<char>(c | bit);
    }
    if (all < 0x80) return;
    to.resize(begin);
    auto lower = lowerCase(std::u16string_view(toUtf16(utf8).text));
    std::replace(lower.begin(), lower.end(), u'\u03C2', u'\u03C3');
    const auto result = composed(aliased(lower));
    to += toUtf8({result.getBuffer(), static_cast<std::size_t>(result.length())});
}

std::string lowerCase(std::string_view utf8) {
    std::string lower;
    appendLowerCase(lower, utf8);
    return lower;
}

std::vector<std::string> words(std::string_view utf8) {
    std::vector<std::string> found;
    const auto end = static_cast<std::int32_t>(utf8.size());
    std::int32_t begin = 0;
    const auto take = [&](std::int32_t upTo) {
        if (upTo > begin)
            found.emplace_back(utf8.substr(
                static_cast<std::size_t>(begin), static_cast<std::size_t>(upTo - begin)));
    };
    for (std::int32_t at = 0; at < end;) {
        const std::int32_t here = at;
        const UChar32 c = nextScalar(utf8, at);
        if (c < 0 || !u_isUWhiteSpace(c)) continue;
        take(here);
        begin = at;
    }
    take(end);
    return found;
}

std::string_view beginning(std::string_view utf8, std::size_t most) {
    if (utf8.size() <= most) return utf8;
    // One character further: what follows may belong to the last one.
    if (areSingleCharacters(utf8.substr(0, most + 1))) return utf8.substr(0, most);
    // Making one takes longer than using it.
    thread_local const auto characters = [] {
        UErrorCode status = U_ZERO_ERROR;
        return std::unique_ptr<icu::BreakIterator>(
            icu::BreakIterator::createCharacterInstance(icu::Locale::getRoot(), status));
    }();
    if (!characters) std::abort(); // ICU without its data
    UErrorCode status = U_ZERO_ERROR;
    const std::unique_ptr<UText, decltype(&utext_close)> view(
        utext_openUTF8(nullptr, utf8.data(), static_cast<std::int64_t>(utf8.size()), &status),
        utext_close);
    characters->setText(view.get(), status);
    std::int32_t end = 0;
    for (std::size_t count = 0; count < most && end != icu::BreakIterator::DONE; ++count)
        end = characters->next();
    const bool isAll = U_FAILURE(status) || end == icu::BreakIterator::DONE;
    return isAll ? utf8 : utf8.substr(0, static_cast<std::size_t>(end));
}

std::size_t characterCount(std::string_view utf8) {
    const auto all = toUtf16(utf8).text;
    Characters characters(all);
    std::size_t count = 0;
    for (std::size_t end = 0; end < all.size(); ++count) end = characters.after(end);
    return count;
}

std::string padded(std::string text, std::size_t length) {
    const auto count = characterCount(text);
    if (count < length) text.append(length - count, ' ');
    return text;
}

CaselessSearch::CaselessSearch(std::string_view query, const Locale& locale)
    // Turkish and Azerbaijani have two letters i, each with both cases.
    : isTurkic(locale.language() == "tr" || locale.language() == "az"),
      folded(foldedCase(query, isTurkic)) {
    const bool isAscii =
        std::all_of(folded.begin(), folded.end(), [](char16_t c) { return c < 0x80; });
    if (isAscii) ascii.emplace(folded.begin(), folded.end());
}

bool CaselessSearch::isFoundIn(std::string_view utf8) const {
    if (folded.empty()) return false;
    if (isTurkic || !isAllAscii(utf8))
        return foldedCase(utf8, isTurkic).find(folded) != std::u16string::npos;
    if (!ascii) return false;
    std::string lower(utf8);
    for (char& c : lower)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c | 0x20);
    return ::memmem(lower.data(), lower.size(), ascii->data(), ascii->size()) != nullptr;
}

bool continuesWord(std::u16string_view text, std::size_t at) {
    if (at >= text.size()) return false;
    const UChar32 c = nextScalar(text, at);
    // ICU's \w, then what it never sees a boundary before.
    const auto categories = U_GC_M_MASK | U_GC_ND_MASK | U_GC_PC_MASK | U_GC_CF_MASK;
    return u_isUAlphabetic(c) || (U_GET_GC_MASK(c) & categories) != 0 ||
           u_hasBinaryProperty(c, UCHAR_GRAPHEME_EXTEND);
}

std::optional<Range> firstLetter(std::u16string_view text) {
    Characters characters(text);
    std::size_t at = 0;
    while (at < text.size()) {
        const std::size_t begin = at;
        if (!u_isUAlphabetic(nextScalar(text, at))) continue;
        // A combining letter inside another character does not make that a letter.
        const bool isLetter = characters.beginsAt(begin);
        const std::size_t end = characters.after(begin);
        if (isLetter) return Range{begin, end};
        at = end;
    }
    return std::nullopt;
}

void capitalizeFirstLetter(std::u16string& text) {
    const auto letter = firstLetter(text);
    if (!letter) return;
    const auto size = letter->end - letter->begin;
    text.replace(letter->begin, size, upperCase(text.substr(letter->begin, size)));
}

void capitalizeFirstLetterIfLowerCase(std::u16string& text) {
    const auto letter = firstLetter(text);
    if (!letter) return;
    const auto size = letter->end - letter->begin;
    const std::u16string character = text.substr(letter->begin, size);
    if (isLowerCase(character)) text.replace(letter->begin, size, upperCase(character));
}

bool hasAlphanumerics(std::u16string_view text, std::size_t count) {
    const auto alphanumerics = U_GC_L_MASK | U_GC_M_MASK | U_GC_N_MASK;
    std::size_t at = 0;
    while (count > 0 && at < text.size()) {
        const UChar32 c = nextScalar(text, at);
        if ((U_GET_GC_MASK(c) & alphanumerics) != 0) --count;
    }
    return count == 0;
}

} // namespace nimbe::text
