#pragma once

#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "Foundation/MainActor.h"
#include "Foundation/TaskScope.h"

namespace nimbe {

/// What every main actor with a real loop keeps to. `Loop` has actor(), run() and stop(),
/// which ends that run; run() gives up after a while, by failing the test.
template <typename Loop>
class MainActorContract : public testing::Test {
protected:
    Loop loop;
};
TYPED_TEST_SUITE_P(MainActorContract);

namespace contract {

inline Task<void> addFromThread(MainActor& actor, std::vector<std::thread::id>& threads) {
    const Completion<std::thread::id> completion(actor);
    std::jthread worker([&actor, completion] {
        const auto id = std::this_thread::get_id();
        actor.post([completion, id] { completion.complete(id); });
    });
    const auto workerId = co_await completion;
    threads.push_back(workerId);
    threads.push_back(std::this_thread::get_id());
}

inline Task<void> nap(MainActor& actor, Seconds seconds, std::string& order, char name) {
    co_await sleep(actor, seconds);
    order += name;
}

inline Task<void> spin(MainActor& actor, int& turns) {
    for (;;) {
        co_await sleep(actor, 0);
        ++turns;
    }
}

inline void repost(MainActor& actor, int& turns) {
    actor.post([&actor, &turns] {
        ++turns;
        repost(actor, turns);
    });
}

inline Task<void> thenCall(Task<void> task, std::function<void()> stop) {
    co_await task;
    stop();
}

template <typename Loop>
void runUntilDone(Loop& loop, Task<void> task) {
    const auto running =
        startTask(loop.actor(), thenCall(std::move(task), [&loop] { loop.stop(); }));
    loop.run();
}

} // namespace contract

TYPED_TEST_P(MainActorContract, runsPostedJobsInOrderFromAnyThread) {
    auto& loop = this->loop;
    std::vector<int> seen;
    int open = 4;
    std::vector<std::jthread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([&, thread] {
            for (int i = 0; i < 500; ++i)
                loop.actor().post([&, thread, i] { seen.push_back(thread * 1000 + i); });
            loop.actor().post([&] {
                if (--open == 0) loop.stop();
            });
        });
    }
    loop.run();
    ASSERT_EQ(seen.size(), 2000U);
    std::vector<int> last(4, -1);
    for (const int entry : seen) {
        auto& before = last[static_cast<std::size_t>(entry / 1000)];
        EXPECT_EQ(entry % 1000, before + 1);
        before = entry % 1000;
    }
}

TYPED_TEST_P(MainActorContract, neverRunsAJobInsideTheCallThatPostsIt) {
    auto& loop = this->loop;
    std::string order;
    Token timer;
    loop.actor().post([&] {
        loop.actor().post([&] {
            order += 'c';
            loop.stop();
        });
        timer = loop.actor().schedule(-1, [&] { order += 't'; });
        order += 'a';
    });
    loop.actor().post([&] { order += 'b'; });
    loop.run();
    EXPECT_EQ(order[0], 'a');
    EXPECT_LT(order.find('b'), order.find('c'));
}

TYPED_TEST_P(MainActorContract, tasksResumeOnItsThread) {
    std::vector<std::thread::id> threads;
    contract::runUntilDone(this->loop, contract::addFromThread(this->loop.actor(), threads));
    ASSERT_EQ(threads.size(), 2U);
    EXPECT_NE(threads[0], std::this_thread::get_id());
    EXPECT_EQ(threads[1], std::this_thread::get_id());
}

TYPED_TEST_P(MainActorContract, timersFireInTheOrderOfTheirTimesAndDroppedOnesDoNot) {
    auto& actor = this->loop.actor();
    std::string order;
    TaskScope scope(actor);
    scope.start(contract::nap(actor, 0.03, order, 'c'));
    scope.start(contract::nap(actor, 0.01, order, 'a'));
    auto dropped = startTask(actor, contract::nap(actor, 0.02, order, 'b'));
    actor.post([&] { dropped.reset(); });
    contract::runUntilDone(this->loop, contract::nap(actor, 0.04, order, 'd'));
    EXPECT_EQ(order, "acd");
}

TYPED_TEST_P(MainActorContract, timersAreNotEarlyAndDueOnesKeepTheirOrder) {
    auto& actor = this->loop.actor();
    const Seconds begin = actor.now();
    std::string order;
    Seconds firedAfter = 0;
    // Less than a millisecond apart, and all due when the loop begins to turn.
    const Token second = actor.schedule(0.0104, [&] { order += 'b'; });
    const Token third = actor.schedule(0.0108, [&] {
        order += 'c';
        this->loop.stop();
    });
    const Token first = actor.schedule(0.0101, [&] {
        order += 'a';
        firedAfter = actor.now() - begin;
    });
    this->loop.run();
    EXPECT_EQ(order, "abc");
    EXPECT_GE(firedAfter, 0.0101);
}

TYPED_TEST_P(MainActorContract, aTokenMayBeDroppedInItsOwnCallback) {
    auto& actor = this->loop.actor();
    auto shared = std::make_shared<int>(7);
    int seen = 0;
    Token own;
    own = actor.schedule(0.001, [&, shared] {
        own.reset();
        seen = *shared; // still there
        this->loop.stop();
    });
    this->loop.run();
    EXPECT_EQ(seen, 7);
    EXPECT_EQ(shared.use_count(), 1);
}

TYPED_TEST_P(MainActorContract, timersAndJobsThatBringForthMoreDoNotStarveEachOther) {
    auto& actor = this->loop.actor();
    int timerTurns = 0;
    int jobTurns = 0;
    TaskScope scope(actor);
    scope.start(contract::spin(actor, timerTurns));
    contract::repost(actor, jobTurns);
    std::string order;
    contract::runUntilDone(this->loop, contract::nap(actor, 0.02, order, 'x'));
    EXPECT_GT(timerTurns, 2);
    EXPECT_GT(jobTurns, 2);
}

REGISTER_TYPED_TEST_SUITE_P(MainActorContract, runsPostedJobsInOrderFromAnyThread,
    neverRunsAJobInsideTheCallThatPostsIt, tasksResumeOnItsThread,
    timersFireInTheOrderOfTheirTimesAndDroppedOnesDoNot, timersAreNotEarlyAndDueOnesKeepTheirOrder,
    aTokenMayBeDroppedInItsOwnCallback, timersAndJobsThatBringForthMoreDoNotStarveEachOther);

} // namespace nimbe
