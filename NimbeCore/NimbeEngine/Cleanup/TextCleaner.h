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

    /// The model's text without its habits: a line that announces the text, quotation marks
    /// around it. Where it speaks of its task in place of doing it, and where nothing is
    /// left, the fallback.
    [[nodiscard]] static std::string sanitize(std::string_view output, std::string_view fallback);
};

} // namespace nimbe
