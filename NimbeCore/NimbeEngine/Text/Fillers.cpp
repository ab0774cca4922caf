#include "NimbeEngine/Text/Fillers.h"

namespace nimbe {

const std::array<TextRule, 5>& fillerRules() {
    using enum Regex::Case;
    namespace scan = candidates;
    static const std::array<TextRule, 5> rules{
        TextRule({uR"(\b(?:uh+|um+|erm?|ah+|hm+)\b,?)", insensitive, u"", scan::filler}),
        TextRule({uR"([ \t]{2,})", sensitive, u" ", scan::blankRun}),
        TextRule({uR"([ \t]+([,.;:!?]))", sensitive, u"$1", scan::blanksBeforePunctuation}),
        TextRule({uR"((^|\n)[ \t,]+)", sensitive, u"$1", scan::lineStartDebris}),
        TextRule({uR"(,(?:[ \t]*,)+)", sensitive, u",", scan::commaRun}),
    };
    return rules;
}

const Regex& leadingFiller() {
    static const Regex pattern(uR"(^\s*(?:uh+|um+|erm?|ah+|hm+)\b)", Regex::Case::insensitive);
    return pattern;
}

void stripFillers(std::u16string& text, bool preserveCase) {
    const bool mayCapitalize = !preserveCase && candidates::beginsLikeFiller(text) &&
                               leadingFiller().firstMatch(text).has_value();
    for (const auto& rule : fillerRules()) rule.apply(text);
    text::trim(text);
    if (mayCapitalize) text::capitalizeFirstLetter(text);
}

std::string stripFillers(std::string_view text, bool preserveCase) {
    auto converted = text::toUtf16(text).text;
    stripFillers(converted, preserveCase);
    return text::toUtf8(converted);
}

} // namespace nimbe
