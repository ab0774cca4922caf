#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "Foundation/RunLoop.h"
#include "Foundation/TaskScope.h"

namespace nimbe {
namespace {

Task<void> addFromThread(RunLoop& loop, std::vector<std::thread::id>& threads) {
    const Completion<std::thread::id> completion(loop);
    std::jthread worker([&loop, completion] {
        const auto id = std::this_thread::get_id();
        loop.post([completion, id] { completion.complete(id); });
    });
    const auto workerId = co_await completion;
    threads.push_back(workerId);
    threads.push_back(std::this_thread::get_id());
}

Task<void> nap(MainActor& actor, Seconds seconds, std::string& order, char name) {
    co_await sleep(actor, seconds);
    order += name;
}

} // namespace

TEST(RunLoop, runsPostedJobsInOrderFromAnyThread) {
    RunLoop loop;
    std::vector<int> seen;
    int open = 4;
    std::vector<std::jthread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([&, thread] {
            for (int i = 0; i < 500; ++i)
                loop.post([&, thread, i] { seen.push_back(thread * 1000 + i); });
            loop.post([&] {
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

TEST(RunLoop, tasksResumeOnItsThread) {
    RunLoop loop;
    std::vector<std::thread::id> threads;
    loop.runUntilDone(addFromThread(loop, threads));
    ASSERT_EQ(threads.size(), 2U);
    EXPECT_NE(threads[0], std::this_thread::get_id());
    EXPECT_EQ(threads[1], std::this_thread::get_id());
}

TEST(RunLoop, timersFireInTheOrderOfTheirTimesAndDroppedOnesDoNot) {
    RunLoop loop;
    std::string order;
    TaskScope scope(loop);
    scope.start(nap(loop, 0.03, order, 'c'));
    scope.start(nap(loop, 0.01, order, 'a'));
    auto dropped = startTask(loop, nap(loop, 0.02, order, 'b'));
    loop.post([&] { dropped.reset(); });
    loop.runUntilDone(nap(loop, 0.04, order, 'd'));
    EXPECT_EQ(order, "acd");
}

namespace {
Task<void> spin(MainActor& actor, int& turns) {
    for (;;) {
        co_await sleep(actor, 0);
        ++turns;
    }
}

void repost(RunLoop& loop, int& turns) {
    loop.post([&] {
        ++turns;
        repost(loop, turns);
    });
}
} // namespace

TEST(RunLoop, timersAndJobsThatBringForthMoreDoNotStarveEachOther) {
    RunLoop loop;
    int timerTurns = 0;
    int jobTurns = 0;
    TaskScope scope(loop);
    scope.start(spin(loop, timerTurns));
    repost(loop, jobTurns);
    std::string order;
    loop.runUntilDone(nap(loop, 0.02, order, 'x'));
    EXPECT_GT(timerTurns, 2);
    EXPECT_GT(jobTurns, 2);
}

TEST(RunLoop, stopBeforeRunEndsThatRunOnly) {
    RunLoop loop;
    bool ran = false;
    loop.post([&] { ran = true; });
    loop.stop();
    loop.run();
    EXPECT_FALSE(ran);
    loop.post([&] { loop.stop(); });
    loop.run();
    EXPECT_TRUE(ran);
}

} // namespace nimbe
