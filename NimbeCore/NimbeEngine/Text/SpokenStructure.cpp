#include "NimbeEngine/Text/SpokenStructure.h"

#include "Foundation/Regex.h"

namespace nimbe {
namespace {

void fixDollarRanges(std::u16string& text) {
    static const Regex garbled(
        uR"(\b(between\s+)\$(\d+)\.(\d{1,3}(?:,\d{3})+))", Regex::Case::insensitive);
    static const Replacement range(uR"($1\$$2 and \$$3)");
    if (text.find(u'$') != text.npos) replaceAll(text, garbled, range);
}

/// One item: its first letter a capital, its end a sentence's.
std::u16string finishListItem(std::u16string_view spoken) {
    std::u16string item(text::blanksTrimmed(spoken));
    text::capitalizeFirstLetterIfLowerCase(item);
    const bool isEnded =
        !item.empty() && (item.back() == u'.' || item.back() == u'?' || item.back() == u'!');
    if (!isEnded) item += u'.';
    return item;
}

/// Enumerations are rare: most texts lack the words that one cannot do without.
bool mayEnumerate(std::u16string_view text) {
    const auto one = text.find(u"one,");
    return one != text.npos && text.find(u"two,", one) != text.npos;
}

void formatEnumerations(std::u16string& text) {
    static const Regex enumeration(
        uR"((^|(?<=[.!?])\s+)([^.!?\n]+?)[,:]?\s+one,\s+(.+?),\s+and\s+two,\s+([^.!?\n]+?)(?:,\s+and\s+three,\s+([^.!?\n]+?))?([.!?])(\s+|$))");
    static const Regex manyNewlines(uR"(\n{3,})");
    static const Replacement twoNewlines(u"\n\n");

    if (!mayEnumerate(text)) return;
    const auto match = enumeration.firstMatch(text);
    if (!match) return;
    const auto group = [&](std::size_t number) -> std::u16string_view {
        const auto& range = (*match)[number];
        if (!range) return {};
        return std::u16string_view(text).substr(range->begin, range->end - range->begin);
    };
    constexpr std::size_t before = 1;
    constexpr std::size_t leadIn = 2;
    constexpr std::size_t firstItem = 3;
    constexpr std::size_t lastItem = 5;
    constexpr std::size_t after = 7;

    std::u16string list;
    if (!group(before).empty()) list += u"\n\n";
    list += text::blanksTrimmed(group(leadIn));
    list += u":\n\n";
    char16_t number = u'1';
    for (std::size_t item = firstItem; item <= lastItem; ++item) {
        if (!(*match)[item]) continue;
        if (number != u'1') list += u'\n';
        list += number++;
        list += u". ";
        list += finishListItem(group(item));
    }
    if (!group(after).empty()) list += u"\n\n";

    const auto whole = *(*match)[0];
    text.replace(whole.begin, whole.end - whole.begin, list);
    replaceAll(text, manyNewlines, twoNewlines);
    text::trim(text);
}

} // namespace

std::string fixDollarRanges(std::string_view text) {
    auto converted = text::toUtf16(text).text;
    fixDollarRanges(converted);
    return text::toUtf8(converted);
}

std::string formatEnumerations(std::string_view text) {
    auto converted = text::toUtf16(text).text;
    formatEnumerations(converted);
    return text::toUtf8(converted);
}

std::string formatSpokenStructure(std::string_view text) {
    auto converted = text::toUtf16(text).text;
    fixDollarRanges(converted);
    formatEnumerations(converted);
    return text::toUtf8(converted);
}

} // namespace nimbe
