#pragma once

#include "Foundation/UserDefaults.h"

namespace nimbe {

/// The settings of what is seen.
struct UISettings {
    inline static const Setting<bool> reduceMotion{"reduceMotion", false};
    inline static const Setting<bool> menuBarVisible{"menuBarVisible", true};
    inline static const Setting<bool> onboardingCompleted{"onboardingCompleted", false};
    inline static const Setting<bool> aiCleanupEnabled{"macAICleanupEnabled", false};
};

} // namespace nimbe
