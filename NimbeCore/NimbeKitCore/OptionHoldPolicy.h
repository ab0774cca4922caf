#pragma once

#include "Foundation/Date.h"

namespace nimbe {

/// The hold gesture of the Option key as a state machine that knows neither time
/// nor platform. Once a recording has started other keys do not stop it; a chord
/// begun with Option within the arm delay is left to the system until Option is
/// up again.
struct OptionHoldPolicy {
    enum class State { idle, arming, holding, suppressed };
    enum class Event { optionDown, optionUp, otherKeyDown, armTimerFired };
    enum class Action {
        none,
        scheduleArm,  // start the arm timer
        cancelArm,    // a chord: stop the timer
        cancelArmTap, // a clean tap: stop the timer
        press,
        release,
        lock // for callers that latch by themselves; no transition yields it
    };

    struct Transition {
        State state = State::idle;
        Action action = Action::none;
        friend bool operator==(const Transition&, const Transition&) = default;
    };

    /// How long Option is held before it means "talk".
    static constexpr Seconds armDelay = 0.25;

    /// What is not a transition keeps the state and does nothing.
    [[nodiscard]] static Transition next(State state, Event event);
};

} // namespace nimbe
