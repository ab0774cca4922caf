#pragma once

#include "Foundation/UserDefaults.h"
#include "NimbeKitCore/DictationMode.h"

namespace nimbe {

/// Which way a transcript takes to finished text.
struct MacCleanupPolicy {
    inline static const Setting<bool> aiCleanupEnabled{"macAICleanupEnabled", false};

    enum class Path {
        rules, // the deterministic steps
        raw,   // as the recogniser heard it
        model  // a TextProcessor
    };

    /// Code is left as it was heard: a model would mend it.
    [[nodiscard]] static constexpr Path path(bool isEnabled, DictationMode mode) {
        if (!isEnabled) return Path::rules;
        return mode == DictationMode::coding ? Path::raw : Path::model;
    }
};

} // namespace nimbe
