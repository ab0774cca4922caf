#include <gtest/gtest.h>

#include "NimbeKitCore/DictationTogglePolicy.h"

namespace nimbe {

TEST(DictationTogglePolicy, firstMatchingRuleWins) {
    using Policy = DictationTogglePolicy;
    using enum Policy::EscalationReason;
    struct Case {
        const char* why;
        Policy::PressContext context;
        Policy::Decision expected;
    };
    const Case cases[] = {
        {"nothing known, nothing running", {}, Policy::Start{}},
        {"a bounce", {.lastPressAt = Date{10}, .now = Date{10.69}}, Policy::Ignore{}},
        {"at the end of the debounce", {.lastPressAt = Date{0}, .now = Date{0.7}}, Policy::Start{}},
        {"the clock was set back", {.lastPressAt = Date{10}, .now = Date{5}}, Policy::Ignore{}},
        {"a bounce beats stop", {.isRecording = true, .lastPressAt = Date{10}, .now = Date{10.5}},
            Policy::Ignore{}},
        {"stop beats everything else",
            {.isRecording = true,
                .isProcessing = true,
                .handoffInFlight = true,
                .deviceLocked = true,
                .micPermission = false},
            Policy::Stop{}},
        {"processing beats locked", {.isProcessing = true, .deviceLocked = true}, Policy::Ignore{}},
        {"a hand-off beats locked", {.handoffInFlight = true, .deviceLocked = true},
            Policy::Ignore{}},
        {"locked beats the microphone", {.deviceLocked = true, .micPermission = false},
            Policy::DeclineLocked{}},
        {"the microphone beats the rest",
            {.micPermission = false,
                .activitiesEnabled = false,
                .modelReady = false,
                .sessionHeld = false},
            Policy::Escalate{micPermission}},
        {"activities beat the model",
            {.activitiesEnabled = false, .modelReady = false, .sessionHeld = false},
            Policy::Escalate{activitiesDisabled}},
        {"the model beats the session", {.modelReady = false, .sessionHeld = false},
            Policy::Escalate{modelMissing}},
        {"no warm session", {.micPermission = true, .sessionHeld = false},
            Policy::Escalate{coldSession}},
        {"all is well",
            {.lastPressAt = Date{1},
                .now = Date{2},
                .micPermission = true,
                .activitiesEnabled = true,
                .modelReady = true,
                .sessionHeld = true},
            Policy::Start{}},
    };
    for (const auto& c : cases) EXPECT_EQ(Policy::decide(c.context), c.expected) << c.why;
}

} // namespace nimbe
