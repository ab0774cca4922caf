#pragma once

#include <string>
#include <string_view>

#include "NimbeEngine/Language/GeneratedType.h"
#include "NimbeKitCore/DictationMode.h"

namespace nimbe {

/// What the model is told and asked for, and what is made of its answer.
struct TextCleaner {
    /// The form of the answer: one field, "text".
    [[nodiscard]] static const GeneratedType& cleaned();

    [[nodiscard]] static std::string instructions(DictationMode mode);

    /// What the rules alone make of a transcript, which the model is then given; the
    /// transcript itself, trimmed, where they would leave nothing.
    [[nodiscard]] static std::string fallback(std::string_view transcript);

    /// The model's text without its habits: a line that announces the text, quotation marks
    /// around it. Where it speaks of its task in place of doing it, and where nothing is
    /// left, the fallback.
    [[nodiscard]] static std::string sanitize(std::string_view output, std::string_view fallback);
};

} // namespace nimbe
