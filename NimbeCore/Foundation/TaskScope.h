#pragma once

#include <exception>
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

/// How work under a deadline ended; neither: it did not.
template <typename T>
struct DeadlineOutcome {
    std::optional<T> value = {};
    std::exception_ptr exception = {};
};

template <typename T>
Task<void> completeWith(Task<T> work, Completion<DeadlineOutcome<T>> completion) {
    DeadlineOutcome<T> outcome;
    try {
        outcome.value.emplace(co_await work);
    } catch (...) {
        outcome.exception = std::current_exception();
    }
    completion.complete(std::move(outcome));
}

/// What `work` returns, or nothing when that takes longer than `limit`: then it
/// is stopped. The time counts from the await; an exception of the work passes.
template <typename T>
Task<std::optional<T>> withDeadline(MainActor& actor, Seconds limit, Task<T> work) {
    using Outcome = DeadlineOutcome<T>;
    Completion<Outcome> first(actor);
    const Token deadline = actor.schedule(limit, [first] { first.complete(Outcome()); });
    const TaskHandle running = startTask(actor, completeWith(std::move(work), first));
    Outcome outcome = co_await first;
    if (outcome.exception) std::rethrow_exception(outcome.exception);
    co_return std::move(outcome.value);
}

} // namespace nimbe
