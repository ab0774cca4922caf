#include <string>

#include <gtest/gtest.h>

#include "Fakes/FakeKeyEventSource.h"
#include "Fakes/ManualMainActor.h"
#include "NimbeApp/OptionKeyMonitor.h"

namespace nimbe {
namespace {

constexpr ModifierFlags nothing{};
constexpr ModifierFlags option{.option = true};

/// A started monitor and what it called: p, r and D.
struct OptionKeyMonitorTest : testing::Test {
    ManualMainActor actor;
    FakeKeyEventSource keys;
    FakeAccessibilityTrust trust;
    FakeApplicationLaunch launch;
    std::string calls;
    std::shared_ptr<OptionKeyMonitor> monitor;

    void start() {
        monitor = OptionKeyMonitor::create(
            {actor, keys, trust, launch}, {[this] { calls += 'p'; }, [this] { calls += 'r'; },
                                              [this] {
                                                  calls += 'D';
                                              }});
        monitor->start();
        actor.runPosted();
    }
    void flags(ModifierFlags now) {
        keys.changeFlags(now);
        actor.runPosted();
    }
    void tap(Seconds duration = 0.1) {
        flags(option);
        actor.advance(duration);
        flags(nothing);
    }
};

} // namespace

TEST_F(OptionKeyMonitorTest, holdingForTheArmDelayPressesAndLettingGoReleases) {
    start();
    flags(option);
    actor.advance(0.249);
    EXPECT_EQ(calls, "");
    actor.advance(0.001);
    EXPECT_EQ(calls, "p");
    keys.keyDown();
    flags({.option = true, .shift = true});
    EXPECT_EQ(calls, "p") << "while holding other keys change nothing";
    flags(nothing);
    EXPECT_EQ(calls, "pr");
    actor.advance(10);
    EXPECT_EQ(calls, "pr");
}

TEST_F(OptionKeyMonitorTest, twoTapsInTimeAreOneDoubleTap) {
    struct Case {
        const char* why;
        Seconds betweenReleases;
        std::string_view expected;
    };
    const Case cases[] = {{"in time", 0.349, "D"}, {"too late", 0.351, ""}};
    for (const auto& c : cases) {
        calls.clear();
        start();
        tap(0.125);
        actor.advance(c.betweenReleases - 0.125);
        tap(0.125);
        EXPECT_EQ(calls, c.expected) << c.why;
    }
}

TEST_F(OptionKeyMonitorTest, theEndOfTheDoubleTapWindowIsInTime) {
    start();
    tap(0); // released at 0, so that the difference is exactly 0.35
    actor.advance(0.35);
    tap(0);
    EXPECT_EQ(calls, "D");
}

TEST_F(OptionKeyMonitorTest, theThirdTapBeginsANewPair) {
    start();
    for (int i = 0; i < 3; ++i) {
        tap(0.05);
        actor.advance(0.05);
    }
    EXPECT_EQ(calls, "D");
    tap(0.05);
    EXPECT_EQ(calls, "DD");
}

TEST_F(OptionKeyMonitorTest, aHoldBetweenTwoTapsPartsThem) {
    start();
    tap(0.05);
    flags(option);
    actor.advance(0.25);
    flags(nothing);
    tap(0.05);
    EXPECT_EQ(calls, "pr");
}

TEST_F(OptionKeyMonitorTest, chordsNeverPressAndEndSilently) {
    struct Case {
        const char* why;
        ModifierFlags down;
    };
    const Case cases[] = {
        {"command", {.option = true, .command = true}},
        {"control", {.option = true, .control = true}},
        {"shift", {.option = true, .shift = true}},
        {"function", {.option = true, .function = true}},
    };
    for (const auto& c : cases) {
        for (const bool together : {true, false}) {
            start();
            if (!together) flags(option);
            flags(c.down);
            actor.advance(together ? 0 : 1);
            flags(nothing);
            tap(0.05); // a chord is no first tap
            EXPECT_EQ(calls, "") << c.why << together;
            flags(nothing);
            actor.advance(1);
        }
    }
    start();
    flags(option);
    keys.keyDown();
    actor.advance(1);
    EXPECT_EQ(calls, "") << "a key within the arm delay";
    flags(nothing);
    flags(option);
    actor.advance(0.25);
    EXPECT_EQ(calls, "p") << "idle again";
}

TEST_F(OptionKeyMonitorTest, aModifierThatWasDownFirstIsAChordOnlyWhileItIsDown) {
    start();
    flags({.shift = true});
    flags({.option = true, .shift = true});
    flags(option); // shift let go; option was down all along
    actor.advance(1);
    EXPECT_EQ(calls, "") << "option went down as part of a chord";
}

TEST_F(OptionKeyMonitorTest, capsLockDoesNotDisturb) {
    start();
    flags({.capsLock = true});
    flags({.option = true, .capsLock = true});
    actor.advance(0.25);
    flags({.capsLock = true});
    EXPECT_EQ(calls, "pr");
}

TEST_F(OptionKeyMonitorTest, eventsInOwnWindowsCountAsWell) {
    start();
    keys.changeFlags(option, KeyEventSource::Scope::ownWindows);
    actor.advance(0.25);
    flags(nothing);
    EXPECT_EQ(calls, "pr");
    flags(option);
    keys.keyDown(KeyEventSource::Scope::ownWindows);
    actor.advance(1);
    EXPECT_EQ(calls, "pr") << "a chord";
}

TEST_F(OptionKeyMonitorTest, anArmTimerOfAnEarlierHoldIsGone) {
    start();
    tap(0.2);
    EXPECT_EQ(actor.pendingTimers(), 0U);
    actor.advance(0.2); // no double tap: the releases are 0.4 s apart
    flags(option);
    actor.advance(0.2);
    EXPECT_EQ(calls, "") << "0.25 s after the first press, 0.2 s after the second";
    actor.advance(0.05);
    EXPECT_EQ(calls, "p");
}

TEST_F(OptionKeyMonitorTest, waitsForTheLaunchThenForTrust) {
    launch.finished = false;
    trust.trusted = false;
    start();
    monitor->start(); // twice is once
    EXPECT_EQ(trust.asked, 0);
    EXPECT_EQ(launch.observers.size(), 1U);
    launch.finish();
    actor.advance(2.5);
    EXPECT_EQ(keys.monitorCount(), 0U);
    EXPECT_EQ(trust.asked, 3) << "at once, then once a second";
    trust.trusted = true;
    actor.advance(0.5);
    EXPECT_EQ(keys.monitorCount(), 3U);
    actor.advance(60);
    EXPECT_EQ(trust.asked, 5) << "asks no more";
    tap(0.05);
    tap(0.05);
    EXPECT_EQ(calls, "D");
}

TEST_F(OptionKeyMonitorTest, dropsEverythingWhenItGoes) {
    start();
    flags(option);
    keys.changeFlags(nothing); // under way when the monitor goes
    monitor.reset();
    EXPECT_EQ(keys.monitorCount(), 0U);
    actor.advance(10);
    EXPECT_EQ(calls, "");
    EXPECT_EQ(actor.pendingTimers(), 0U);

    trust.trusted = false;
    start();
    monitor.reset();
    trust.asked = 0;
    actor.advance(10);
    EXPECT_EQ(trust.asked, 0);
}

TEST_F(OptionKeyMonitorTest, aCallbackMayDropTheMonitor) {
    monitor = OptionKeyMonitor::create({actor, keys, trust, launch}, {[this] {
                                                                          calls += 'p';
                                                                          monitor.reset();
                                                                      },
                                                                         [this] { calls += 'r'; },
                                                                         [] {
                                                                         }});
    monitor->start();
    flags(option);
    actor.advance(0.25);
    flags(nothing);
    EXPECT_EQ(calls, "p");
}

} // namespace nimbe
