#pragma once

#include "Foundation/UserDefaults.h"

namespace nimbe {

/// Settings of the application as a whole; all others stand beside what they set.
struct AppSettings {
    inline static const Setting<bool> menuBarVisible{"menuBarVisible", true};
    inline static const Setting<bool> onboardingCompleted{"onboardingCompleted", false};
    /// What dictations are made for, as DictationMode's raw value: it chooses the style of
    /// the AI cleanup.
    inline static const Setting<std::string> dictationMode{"dictationMode", "messaging"};
    inline static const Setting<bool> reduceMotion{"reduceMotion", false};
};

} // namespace nimbe
