#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "Fakes/ManualMainActor.h"
#include "Foundation/TaskScope.h"

namespace nimbe {
namespace {

/// Tells of its own end, to see when frames are destroyed.
struct Witness {
    std::vector<std::string>* events;
    std::string name;
    Witness(std::vector<std::string>& events, std::string name)
        : events(&events), name(std::move(name)) {}
    Witness(const Witness&) = delete;
    Witness& operator=(const Witness&) = delete;
    ~Witness() { events->push_back("~" + name); }
};

Task<void> napping(MainActor& actor, std::vector<std::string>& events, std::string name) {
    const Witness witness(events, name);
    events.push_back(name + " begins");
    co_await sleep(actor, 1.0);
    events.push_back(name + " ends");
}

Task<int> doubled(MainActor& actor, int number) {
    co_await sleep(actor, 0.5);
    co_return number * 2;
}

Task<int> failing(MainActor& actor) {
    co_await sleep(actor, 0.5);
    throw std::runtime_error("no");
}

Task<void> collect(MainActor& actor, std::vector<std::string>& events) {
    const int four = co_await doubled(actor, 2);
    const int eight = co_await doubled(actor, four);
    events.push_back(std::to_string(eight));
    try {
        (void)co_await failing(actor);
    } catch (const std::runtime_error& error) {
        events.emplace_back(error.what());
    }
}

Task<void> nesting(MainActor& actor, std::vector<std::string>& events) {
    const Witness witness(events, "outer");
    co_await napping(actor, events, "inner");
}

using Events = std::vector<std::string>;

} // namespace

TEST(Task, theBodyStartsAtTheNextTurnAndResumesOnTime) {
    ManualMainActor actor;
    Events events;
    const auto task = startTask(actor, napping(actor, events, "nap"));
    EXPECT_TRUE(events.empty());
    actor.runPosted();
    EXPECT_EQ(events, (Events{"nap begins"}));
    actor.advance(0.999);
    EXPECT_TRUE(task.isRunning());
    actor.advance(0.001);
    EXPECT_EQ(events, (Events{"nap begins", "nap ends", "~nap"}));
    EXPECT_FALSE(task.isRunning());
}

TEST(Task, valuesAndExceptionsPassToTheAwaitingTask) {
    ManualMainActor actor;
    Events events;
    const auto task = startTask(actor, collect(actor, events));
    actor.advance(1.0);
    EXPECT_EQ(events, (Events{"8"}));
    actor.advance(0.5);
    EXPECT_EQ(events, (Events{"8", "no"}));
}

TEST(Task, stoppingDestroysTheFramesAndTheirTimers) {
    ManualMainActor actor;
    Events events;
    auto task = startTask(actor, nesting(actor, events));
    auto early = startTask(actor, napping(actor, events, "early"));
    early.reset();
    actor.runPosted();
    task.reset();
    EXPECT_EQ(events, (Events{"inner begins", "~inner", "~outer"})) << "early never began";
    EXPECT_EQ(actor.pendingTimers(), 0U);
    actor.advance(10);
    EXPECT_EQ(events.size(), 3U);
}

TEST(Task, aTaskNobodyStartsNeverRuns) {
    ManualMainActor actor;
    Events events;
    { const auto task = napping(actor, events, "never"); }
    actor.advance(10);
    EXPECT_TRUE(events.empty());
}

namespace {
Task<void> stoppingItself(
    MainActor& actor, Events& events, std::unique_ptr<TaskHandle>& own, bool waitsAfterwards) {
    const Witness witness(events, "self");
    co_await sleep(actor, 1.0);
    own.reset();
    events.emplace_back("still here");
    if (waitsAfterwards) co_await sleep(actor, 1.0);
    events.emplace_back("at the end");
}
} // namespace

TEST(Task, oneThatStopsItselfRunsToItsNextWait) {
    for (const bool waits : {true, false}) {
        ManualMainActor actor;
        Events events;
        auto own = std::make_unique<TaskHandle>();
        *own = startTask(actor, stoppingItself(actor, events, own, waits));
        actor.advance(5);
        EXPECT_EQ(events, waits ? (Events{"still here", "~self"})
                                : (Events{"still here", "at the end", "~self"}));
    }
}

TEST(TaskScope, stopsItsTasksWhenItGoes) {
    ManualMainActor actor;
    Events events;
    {
        TaskScope scope(actor);
        scope.start(napping(actor, events, "a"));
        actor.advance(1.0);
        scope.start(napping(actor, events, "b"));
        actor.runPosted();
    }
    actor.advance(5);
    EXPECT_EQ(events, (Events{"a begins", "a ends", "~a", "b begins", "~b"}));
}

namespace {
Task<int> hanging(Events& events) {
    const Witness witness(events, "work");
    co_await never();
    co_return 0;
}

Task<void> reportDeadline(
    MainActor& actor, Task<int> work, std::optional<std::optional<int>>& result) {
    auto pending = withDeadline(actor, 1.0, std::move(work));
    result = co_await pending;
}

Task<void> reportException(MainActor& actor, Events& events) {
    auto pending = withDeadline(actor, 1.0, failing(actor));
    try {
        (void)co_await pending;
    } catch (const std::runtime_error& error) {
        events.emplace_back(error.what());
    }
}
} // namespace

TEST(Deadline, anExceptionOfTheWorkPasses) {
    ManualMainActor actor;
    Events events;
    const auto task = startTask(actor, reportException(actor, events));
    actor.advance(0.5);
    EXPECT_EQ(events, (Events{"no"}));
}

TEST(Deadline, theEarlierOfAnswerAndDeadlineWins) {
    {
        ManualMainActor actor;
        std::optional<std::optional<int>> result;
        const auto task = startTask(actor, reportDeadline(actor, doubled(actor, 4), result));
        actor.advance(0.5);
        ASSERT_TRUE(result);
        EXPECT_EQ(*result, 8);
        EXPECT_EQ(actor.pendingTimers(), 0U) << "the deadline is let go";
    }
    ManualMainActor actor;
    Events events;
    std::optional<std::optional<int>> result;
    const auto task = startTask(actor, reportDeadline(actor, hanging(events), result));
    actor.advance(0.999);
    EXPECT_FALSE(result);
    actor.advance(0.002);
    ASSERT_TRUE(result);
    EXPECT_EQ(*result, std::nullopt);
    EXPECT_EQ(events, (Events{"~work"}));
}

namespace {
Task<void> waitFor(Completion<int> completion, Events& events) {
    const int number = co_await completion;
    events.push_back(std::to_string(number));
}
} // namespace

TEST(Completion, resumesAtALaterTurnAndCountsTheFirstValue) {
    ManualMainActor actor;
    Events events;
    const Completion<int> completion(actor);
    const auto task = startTask(actor, waitFor(completion, events));
    actor.runPosted();
    completion.complete(1);
    completion.complete(2);
    EXPECT_TRUE(events.empty()) << "never inside the call";
    actor.runPosted();
    EXPECT_EQ(events, (Events{"1"}));

    const Completion<int> early(actor);
    early.complete(3);
    const auto late = startTask(actor, waitFor(early, events));
    actor.runPosted();
    EXPECT_EQ(events, (Events{"1", "3"}));
}

TEST(Completion, aStoppedWaiterIsForgotten) {
    ManualMainActor actor;
    Events events;
    const Completion<int> completion(actor);
    auto task = startTask(actor, waitFor(completion, events));
    actor.runPosted();
    completion.complete(1); // the wake-up is under way
    task.reset();
    actor.runPosted();
    EXPECT_TRUE(events.empty());
}

} // namespace nimbe
