#include "NimbeKitCore/DictationTogglePolicy.h"

namespace nimbe {

DictationTogglePolicy::Decision DictationTogglePolicy::decide(const PressContext& context) {
    using enum EscalationReason;
    // A press before the last one (the clock was set back) is a bounce as well.
    if (context.lastPressAt && context.now.since(*context.lastPressAt) < pressDebounce)
        return Ignore{};
    if (context.isRecording) return Stop{};
    if (context.isProcessing || context.handoffInFlight) return Ignore{};
    if (context.deviceLocked) return DeclineLocked{};
    if (context.micPermission == false) return Escalate{micPermission};
    if (context.activitiesEnabled == false) return Escalate{activitiesDisabled};
    if (context.modelReady == false) return Escalate{modelMissing};
    if (context.sessionHeld == false) return Escalate{coldSession};
    return Start{};
}

} // namespace nimbe
