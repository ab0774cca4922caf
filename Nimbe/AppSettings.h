#pragma once

#include "Foundation/UserDefaults.h"

namespace nimbe {

/// Settings of the application as a whole; all others stand beside what they set.
struct AppSettings {
    inline static const Setting<bool> menuBarVisible{"menuBarVisible", true};
    inline static const Setting<bool> onboardingCompleted{"onboardingCompleted", false};
    inline static const Setting<bool> reduceMotion{"reduceMotion", false};
};

} // namespace nimbe
