#pragma once

#include <functional>

#include "Foundation/RunLoop.h"
#include "Foundation/UserDefaults.h"
#include "NimbeEngine/Language/LanguageModel.h"
#include "NimbeEngine/Transform/TransformProvider.h"

namespace nimbe {

/// What the verbs work with that ask the language model.
struct LanguageServices {
    RunLoop& loop; // the model's main actor; it runs while a verb waits
    LanguageModel& model;
    TransformProvider& transforms;
    UserDefaults& defaults;
    /// Calls once, on the main thread, when the user interrupts; until the token is dropped.
    std::function<Token(std::function<void()>)> onInterrupt;
    // Columns of the terminals that the standard streams are; 0: none.
    int outputColumns = 0;
    int errorColumns = 0;
};

} // namespace nimbe
