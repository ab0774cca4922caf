#include <csignal>
#include <cstdio>
#include <cstdlib>

#include <gtest/gtest.h>

#include "Foundation/RunLoop.h"
#include "PlatformDesktop/SessionEnd.h"

namespace nimbe {
namespace {

/// The watchdog of a process that has nobody else.
void endWithin(unsigned seconds) {
    ::signal(SIGALRM, SIG_DFL);
    ::alarm(seconds);
}

/// Says "ended" when the loop ended after the signals, and how often it was called.
void runUntil(int first) {
    endWithin(20);
    RunLoop loop;
    int calls = 0;
    const Token watch = watchSessionEnd(loop, [&] {
        ++calls;
        loop.stop();
    });
    ::raise(first);
    loop.run();
    std::fprintf(stderr, "ended %d", calls);
}

struct SessionEndDeathTest : testing::Test {
    void SetUp() override { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

} // namespace

TEST_F(SessionEndDeathTest, eachSignalIsOneCallOnTheMainThread) {
    for (const int number : {SIGTERM, SIGINT, SIGHUP}) {
        const auto run = [number] {
            runUntil(number);
            std::_Exit(0);
        };
        EXPECT_EXIT(run(), testing::ExitedWithCode(0), "ended 1") << number;
    }
}

TEST_F(SessionEndDeathTest, aSecondSignalOfAnyKindEndsAtOnce) {
    for (const auto& [first, second] :
        {std::pair(SIGTERM, SIGTERM), std::pair(SIGTERM, SIGINT), std::pair(SIGINT, SIGHUP)}) {
        const auto run = [first = first, second = second] {
            endWithin(20);
            RunLoop loop; // which nobody runs: the main thread is stuck
            const Token watch = watchSessionEnd(loop, [] {});
            ::raise(first);
            std::fprintf(stderr, "still there");
            ::raise(second);
            std::_Exit(0);
        };
        EXPECT_EXIT(run(), testing::KilledBySignal(second), "still there");
    }
}

TEST_F(SessionEndDeathTest, whatWasIgnoredStaysIgnored) {
    const auto run = [] {
        ::signal(SIGHUP, SIG_IGN); // nohup
        endWithin(20);
        RunLoop loop;
        const Token watch = watchSessionEnd(loop, [&] { loop.stop(); });
        ::raise(SIGHUP);
        ::raise(SIGTERM); // is the first
        ::raise(SIGHUP);
        loop.run();
        std::_Exit(0);
    };
    EXPECT_EXIT(run(), testing::ExitedWithCode(0), "");
}

TEST_F(SessionEndDeathTest, aDroppedWatchLeavesNothing) {
    const auto late = [] {
        RunLoop loop;
        {
            const Token watch = watchSessionEnd(loop, [] {});
        }
        ::raise(SIGTERM);
        std::_Exit(0);
    };
    EXPECT_EXIT(late(), testing::KilledBySignal(SIGTERM), "");
    // Posted already, not run yet: the owner has gone.
    const auto pending = [] {
        endWithin(20);
        RunLoop loop;
        Token watch = watchSessionEnd(loop, [] { std::_Exit(1); });
        ::raise(SIGTERM);
        watch.reset();
        loop.stop();
        loop.post([&] { loop.stop(); });
        loop.run();
        loop.run();
        std::_Exit(0);
    };
    EXPECT_EXIT(pending(), testing::ExitedWithCode(0), "");
}

} // namespace nimbe
