#include <map>
#include <utility>

#include <gtest/gtest.h>

#include "NimbeKitCore/OptionHoldPolicy.h"

namespace nimbe {

TEST(OptionHoldPolicy, everyPairThatIsNoTransitionKeepsTheState) {
    using enum OptionHoldPolicy::State;
    using enum OptionHoldPolicy::Event;
    using enum OptionHoldPolicy::Action;
    using Key = std::pair<OptionHoldPolicy::State, OptionHoldPolicy::Event>;
    const std::map<Key, OptionHoldPolicy::Transition> transitions{
        {{idle, optionDown}, {arming, scheduleArm}},
        {{arming, optionUp}, {idle, cancelArmTap}},
        {{arming, otherKeyDown}, {suppressed, cancelArm}},
        {{arming, armTimerFired}, {holding, press}},
        {{holding, optionUp}, {idle, release}},
        {{suppressed, optionUp}, {idle, none}},
    };
    for (const auto state : {idle, arming, holding, suppressed}) {
        for (const auto event : {optionDown, optionUp, otherKeyDown, armTimerFired}) {
            const auto listed = transitions.find({state, event});
            const auto expected = listed == transitions.end()
                                      ? OptionHoldPolicy::Transition{state, none}
                                      : listed->second;
            EXPECT_EQ(OptionHoldPolicy::next(state, event), expected)
                << static_cast<int>(state) << " " << static_cast<int>(event);
        }
    }
}

} // namespace nimbe
