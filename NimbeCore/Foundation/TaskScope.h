#pragma once

#include <optional>
#include <vector>

#include "Foundation/Task.h"

namespace nimbe {

/// Owns the tasks that are started in it and stops them when it goes, so that
/// none outlives its owner. Main thread only.
class TaskScope {
public:
    explicit TaskScope(MainActor& actor) : actor(actor) {}
    TaskScope(const TaskScope&) = delete;
    TaskScope& operator=(const TaskScope&) = delete;

    /// The body starts at the next turn of the main loop.
    void start(Task<void> body);

private:
    MainActor& actor;
    std::vector<TaskHandle> tasks;
};

template <typename T>
Task<void> completeWith(Task<T> work, Completion<std::optional<T>> completion) {
    std::optional<T> outcome(co_await work);
    completion.complete(std::move(outcome));
}

/// What `work` returns, or nothing when that takes longer than `limit`: then it
/// is stopped. The time counts from the await.
template <typename T>
Task<std::optional<T>> withDeadline(MainActor& actor, Seconds limit, Task<T> work) {
    using Outcome = std::optional<T>;
    Completion<Outcome> first(actor);
    const Token deadline = actor.schedule(limit, [first] { first.complete(Outcome()); });
    const TaskHandle running = startTask(actor, completeWith(std::move(work), first));
    Outcome outcome = co_await first;
    co_return outcome;
}

} // namespace nimbe
