#pragma once

#include <optional>
#include <variant>

#include "Foundation/Date.h"

namespace nimbe {

/// What a press of a toggle-style dictation control means: one press starts, the
/// next stops.
struct DictationTogglePolicy {
    /// What the app must settle in the foreground before it can record.
    enum class EscalationReason { micPermission, activitiesDisabled, modelMissing, coldSession };

    struct Escalate {
        EscalationReason reason{};
        friend bool operator==(const Escalate&, const Escalate&) = default;
    };
    struct Start {
        friend bool operator==(const Start&, const Start&) = default;
    };
    struct Stop {
        friend bool operator==(const Stop&, const Stop&) = default;
    };
    struct Ignore {
        friend bool operator==(const Ignore&, const Ignore&) = default;
    };
    struct DeclineLocked {
        friend bool operator==(const DeclineLocked&, const DeclineLocked&) = default;
    };
    using Decision = std::variant<Escalate, Start, Stop, Ignore, DeclineLocked>;

    /// Absent optionals are not known yet.
    struct PressContext {
        bool isRecording = false;
        bool isProcessing = false;    // a finished recording is transcribed or cleaned
        bool handoffInFlight = false; // a dictation passes between processes
        bool deviceLocked = false;
        std::optional<Date> lastPressAt = std::nullopt; // the last accepted press
        Date now{};
        std::optional<bool> micPermission = std::nullopt;
        std::optional<bool> activitiesEnabled = std::nullopt;
        std::optional<bool> modelReady = std::nullopt;
        std::optional<bool> sessionHeld = std::nullopt;
    };

    /// A second press sooner than this is a bounce of the first.
    static constexpr Seconds pressDebounce = 0.7;

    /// First matching rule wins. Stop beats every readiness check; what is not
    /// known never escalates.
    [[nodiscard]] static Decision decide(const PressContext& context);
};

} // namespace nimbe
