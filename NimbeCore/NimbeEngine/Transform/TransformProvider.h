#pragma once

#include <functional>
#include <string>

#include "Foundation/Result.h"
#include "Foundation/Task.h"
#include "NimbeEngine/Language/LanguageModelError.h"
#include "NimbeEngine/Transform/TransformPreset.h"

namespace nimbe {

/// Runs transforms of notes. Main thread; they share nothing.
class TransformProvider {
public:
    /// The reshaped text as far as it is there; one that is not shown is only measured.
    struct Partial {
        std::string text;
        bool isShown = true;
    };
    struct Outcome {
        std::string text;    // may be empty
        bool isWhole = true; // false: it ended before the model had finished
    };
    /// Each time more; false ends the transform with an error. It may stop the task that it
    /// is called from.
    using OnPartial = std::function<bool(const Partial&)>;

    virtual ~TransformProvider() = default;

    /// Ends at the latest after some minutes. To give it up, stop the task.
    [[nodiscard]] virtual Task<Result<Outcome, LanguageModelError>> transform(
        NoteTransform transform, std::string text, OnPartial onPartial) = 0;
};

} // namespace nimbe
