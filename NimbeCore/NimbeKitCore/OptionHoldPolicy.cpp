#include "NimbeKitCore/OptionHoldPolicy.h"

namespace nimbe {

OptionHoldPolicy::Transition OptionHoldPolicy::next(State state, Event event) {
    switch (state) {
    case State::idle:
        if (event == Event::optionDown) return {State::arming, Action::scheduleArm};
        break;
    case State::arming:
        if (event == Event::optionUp) return {State::idle, Action::cancelArmTap};
        if (event == Event::otherKeyDown) return {State::suppressed, Action::cancelArm};
        if (event == Event::armTimerFired) return {State::holding, Action::press};
        break;
    case State::holding:
        if (event == Event::optionUp) return {State::idle, Action::release};
        break;
    case State::suppressed:
        if (event == Event::optionUp) return {State::idle, Action::none};
        break;
    }
    return {state, Action::none};
}

} // namespace nimbe
