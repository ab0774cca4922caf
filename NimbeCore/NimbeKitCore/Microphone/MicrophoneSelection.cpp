#include "NimbeKitCore/Microphone/MicrophoneSelection.h"

namespace nimbe {

std::string MicrophoneSelection::resolvedUID(UserDefaults& defaults) {
    auto uid = preferredUID(defaults);
    // A choice that cannot be read just now is not overwritten. One that cannot be
    // stored is made again next time.
    const auto stored = defaults.value(selectedInput.key);
    if (stored && !*stored) (void)defaults.set(selectedInput, uid);
    return uid;
}

} // namespace nimbe
