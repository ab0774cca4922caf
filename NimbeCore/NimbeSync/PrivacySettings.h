#pragma once

#include <string>

#include "Foundation/UserDefaults.h"
#include "NimbeSync/PrivacyMode.h"

namespace nimbe {

/// What the user has chosen about the cloud. It counts from the next launch on, when the
/// store is opened. Any thread.
class PrivacySettings {
public:
    /// Absent or of an unknown value: sync.
    inline static const Setting<std::string> privacyMode{"privacyMode"};

    explicit PrivacySettings(UserDefaults& defaults) : defaults(defaults) {}

    [[nodiscard]] PrivacyMode mode() { return nimbe::privacyMode(defaults.get(privacyMode)); }
    /// False: it could not be stored, and all is as it was.
    [[nodiscard]] bool setMode(PrivacyMode mode) {
        return defaults.set(privacyMode, std::string(rawValue(mode)));
    }

private:
    UserDefaults& defaults;
};

} // namespace nimbe
