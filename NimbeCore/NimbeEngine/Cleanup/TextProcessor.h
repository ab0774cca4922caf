#pragma once

#include <string>

#include "Foundation/Task.h"
#include "NimbeKitCore/DictationMode.h"

namespace nimbe {

/// Turns a transcript into finished text. Main thread. Never fails: whatever goes wrong
/// inside ends, in time, in the text that the rules alone make.
class TextProcessor {
public:
    virtual ~TextProcessor() = default;

    /// Empty only for a blank text. Ends within the deadline that the user has set.
    [[nodiscard]] virtual Task<std::string> process(std::string text, DictationMode mode) = 0;
};

} // namespace nimbe
