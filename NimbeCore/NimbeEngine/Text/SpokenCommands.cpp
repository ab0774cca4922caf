#include "NimbeEngine/Text/SpokenCommands.h"

namespace nimbe {

const std::array<TextRule, 7>& spokenCommandRules() {
    using enum Regex::Case;
    namespace scan = candidates;
    static const std::array<TextRule, 7> rules{
        // The shortest enclosed span; a comma or full stop that the recogniser
        // put beside a command goes with it.
        TextRule(
            {uR"(\b(?:open\s+)?parenthes[ei]s\b[,.]?\s+(.+?)[,.]?\s+(?:end|close)\s+parenthes[ei]s\b)",
                insensitive, u"($1)", scan::spokenParentheses}),
        // Behind a determiner the words are a noun phrase.
        TextRule(
            {uR"(,?\s*(?<!\b(?:a|the|this|that|another|each|every)\s)\bnew\s+paragraph\b[,.:]?\s*)",
                insensitive, u"\n\n", scan::newParagraph}),
        TextRule({uR"(,?\s*(?<!\b(?:a|the|this|that|another|each|every)\s)\bnew\s+line\b[,.:]?\s*)",
            insensitive, u"\n", scan::newLine}),
        TextRule({uR"(\(\s+)", insensitive, u"(", scan::spaceAfterOpening}),
        TextRule({uR"(\s+\))", insensitive, u")", scan::spaceBeforeClosing}),
        TextRule({uR"([ \t]{2,})", insensitive, u" ", scan::blankRun}),
        TextRule({uR"([ \t]+([,.;:!?]))", insensitive, u"$1", scan::blanksBeforePunctuation}),
    };
    return rules;
}

void formatSpokenCommands(std::u16string& text) {
    for (const auto& rule : spokenCommandRules()) rule.apply(text);
    text::trim(text);
}

std::string formatSpokenCommands(std::string_view text) {
    auto converted = text::toUtf16(text).text;
    formatSpokenCommands(converted);
    return text::toUtf8(converted);
}

} // namespace nimbe
