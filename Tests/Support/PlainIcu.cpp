#include "Support/PlainIcu.h"

#include <cstdlib>
#include <memory>

#include <unicode/regex.h>
#include <unicode/unistr.h>

#include "NimbeEngine/Text/Fillers.h"
#include "NimbeEngine/Text/SpokenCommands.h"

namespace nimbe {
namespace {

icu::UnicodeString copied(std::u16string_view text) {
    return {text.data(), static_cast<std::int32_t>(text.size())};
}

} // namespace

std::u16string plainlyApplied(const TextRule::Definition& rule, std::u16string_view text) {
    UErrorCode status = U_ZERO_ERROR;
    const std::uint32_t flags =
        rule.letterCase == Regex::Case::insensitive ? UREGEX_CASE_INSENSITIVE : 0;
    const icu::UnicodeString input = copied(text);
    icu::RegexMatcher matcher(copied(rule.pattern), input, flags, status);
    const icu::UnicodeString output = matcher.replaceAll(copied(rule.replacement), status);
    if (U_FAILURE(status)) std::abort();
    return {output.getBuffer(), static_cast<std::size_t>(output.length())};
}

std::string plainlyFinished(std::string_view raw, bool preserveCase) {
    auto text = text::toUtf16(raw).text;
    for (const auto& rule : spokenCommandRules()) text = plainlyApplied(rule.definition, text);
    text::trim(text);
    const bool beganWithFiller = leadingFiller().firstMatch(text).has_value();
    for (const auto& rule : fillerRules()) text = plainlyApplied(rule.definition, text);
    text::trim(text);
    if (beganWithFiller && !preserveCase) text::capitalizeFirstLetter(text);
    return text::toUtf8(text);
}

} // namespace nimbe
