#include "NimbeEngine/Text/TextRule.h"

namespace nimbe {

TextRule::TextRule(const Definition& definition)
    : definition(definition), regex(definition.pattern, definition.letterCase),
      replacement(definition.replacement) {}

void TextRule::apply(std::u16string& text) const {
    using Outcome = Regex::Run::Outcome;
    CandidateMemory memory;
    auto candidate = definition.scan(text, 0, memory);
    if (!candidate) return;

    Regex::Run run(regex, text);
    std::u16string output;
    output.reserve(text.size());
    std::size_t copied = 0;
    bool found = false;
    while (candidate) {
        std::size_t resume = candidate->resume;
        const auto outcome = run.matchAt(candidate->start);
        if (outcome == Outcome::pastLimits) return;
        if (outcome == Outcome::match) {
            found = true;
            const auto match = *run.group(0);
            output.append(text, copied, match.begin - copied);
            replacement.appendTo(output, text, run);
            copied = match.end;
            resume = match.end;
        }
        candidate = definition.scan(text, resume, memory);
    }
    if (!found) return;
    output.append(text, copied);
    text = std::move(output);
}

} // namespace nimbe
