#include "NimbeEngine/Text/TranscriptOutcome.h"

#include "Foundation/Text.h"

namespace nimbe {

TranscriptOutcome TranscriptOutcome::classify(std::string_view text) {
    constexpr std::size_t leastAlphanumerics = 2;
    const auto converted = text::toUtf16(text).text;
    const auto trimmed = text::trimmed(converted);
    TranscriptOutcome outcome;
    if (text::hasAlphanumerics(trimmed, leastAlphanumerics))
        outcome.present = text::toUtf8(trimmed);
    return outcome;
}

} // namespace nimbe
