#pragma once

#include <coroutine>
#include <exception>
#include <memory>
#include <optional>
#include <utility>

#include "Foundation/MainActor.h"

namespace nimbe {

class TaskRoot;

/// What every coroutine of a task knows: who waits for it, and the started task
/// that it is a part of.
struct TaskPromiseBase {
    std::coroutine_handle<> continuation;
    TaskRoot* root = nullptr;
    std::exception_ptr exception;

    struct FinalAwaiter {
        bool await_ready() const noexcept { return false; }
        template <typename Promise>
        std::coroutine_handle<> await_suspend(std::coroutine_handle<Promise> ended) const noexcept {
            const auto continuation = ended.promise().continuation;
            return continuation ? continuation : std::noop_coroutine();
        }
        void await_resume() const noexcept {}
    };

    std::suspend_always initial_suspend() const noexcept { return {}; }
    FinalAwaiter final_suspend() const noexcept { return {}; }
    void unhandled_exception() noexcept { exception = std::current_exception(); }
};

template <typename T>
struct TaskPromiseResult : TaskPromiseBase {
    std::optional<T> result;
    void return_value(T value) { result.emplace(std::move(value)); }
    T take() {
        if (exception) std::rethrow_exception(exception);
        return std::move(*result);
    }
};

template <>
struct TaskPromiseResult<void> : TaskPromiseBase {
    void return_void() const noexcept {}
    void take() const {
        if (exception) std::rethrow_exception(exception);
    }
};

/// A coroutine on the main actor.
///
/// - The body starts when the task is awaited, or, for one given to startTask or
///   a TaskScope, at the next turn of the main loop. A task that neither happens
///   to never runs.
/// - It resumes on the main thread, posted there: after sleep, a Completion and
///   every other wait on the world; directly after an awaited task.
/// - Dropping a task that was not started, or stopping one that waits, destroys
///   its frame and those of the tasks it awaits: locals are destroyed, the rest
///   of the body never runs. Stopping one that runs (from within) takes effect
///   at its next wait.
/// - An exception passes to the awaiting task; one that leaves a started task
///   ends the program.
template <typename T>
class [[nodiscard]] Task {
public:
    struct promise_type : TaskPromiseResult<T> {
        Task get_return_object() {
            return Task(std::coroutine_handle<promise_type>::from_promise(*this));
        }
    };

    Task(Task&& other) noexcept : handle(std::exchange(other.handle, nullptr)) {}
    Task& operator=(Task&& other) noexcept {
        std::swap(handle, other.handle);
        return *this;
    }
    ~Task() {
        if (handle) handle.destroy();
    }

    struct Awaiter {
        std::coroutine_handle<promise_type> handle;

        bool await_ready() const noexcept { return false; }
        template <typename Promise>
        std::coroutine_handle<> await_suspend(std::coroutine_handle<Promise> awaiting) noexcept {
            handle.promise().continuation = awaiting;
            handle.promise().root = awaiting.promise().root;
            return handle;
        }
        T await_resume() { return handle.promise().take(); }
    };
    Awaiter operator co_await() const noexcept { return {handle}; }

private:
    friend class TaskRoot;
    explicit Task(std::coroutine_handle<promise_type> handle) : handle(handle) {}

    std::coroutine_handle<promise_type> handle;
};

/// A started task: the frame at its root, and whether it runs just now.
class TaskRoot : public std::enable_shared_from_this<TaskRoot> {
public:
    TaskRoot(MainActor& actor, Task<void> body);

    void postStart();
    /// Runs the task from `waiting`, one of its coroutines, to the next wait.
    void resume(std::coroutine_handle<> waiting);
    void stop();
    [[nodiscard]] bool isEnded() const { return !body.has_value(); }
    [[nodiscard]] MainActor& mainActor() const { return actor; }

private:
    MainActor& actor;
    std::optional<Task<void>> body; // absent: ended
    bool isRunning = false;
    bool isStopped = false;
};

/// A started task that its holder can stop.
class [[nodiscard]] TaskHandle {
public:
    TaskHandle() = default;
    explicit TaskHandle(std::shared_ptr<TaskRoot> root) : root(std::move(root)) {}
    TaskHandle(TaskHandle&&) noexcept = default;
    TaskHandle& operator=(TaskHandle&& other) noexcept;
    ~TaskHandle() { reset(); }

    /// Stops the task, if it has not ended, and lets go of it.
    void reset();
    [[nodiscard]] bool isRunning() const { return root && !root->isEnded(); }

private:
    std::shared_ptr<TaskRoot> root;
};

/// The body starts at the next turn of the main loop.
[[nodiscard]] TaskHandle startTask(MainActor& actor, Task<void> body);

/// co_await sleep(actor, seconds).
class Sleep {
public:
    Sleep(MainActor& actor, Seconds duration) : actor(actor), duration(duration) {}

    bool await_ready() const noexcept { return false; }
    template <typename Promise>
    void await_suspend(std::coroutine_handle<Promise> waiting) {
        TaskRoot* root = waiting.promise().root; // outlives the frame that holds the timer
        timer = actor.schedule(duration, [root, waiting] { root->resume(waiting); });
    }
    void await_resume() const noexcept {}

private:
    MainActor& actor;
    Seconds duration;
    Token timer;
};

[[nodiscard]] inline Sleep sleep(MainActor& actor, Seconds duration) {
    return {actor, duration};
}

/// co_await never(): the task waits until it is stopped.
struct Never {
    bool await_ready() const noexcept { return false; }
    void await_suspend(std::coroutine_handle<> /*waiting*/) const noexcept {}
    void await_resume() const noexcept {}
};
[[nodiscard]] inline Never never() {
    return {};
}

/// A value that comes once, from wherever; one task may wait for it. Copies
/// share it. Main thread only: other threads post the call to complete().
template <typename T>
class Completion {
public:
    explicit Completion(MainActor& actor) : state(std::make_shared<State>(actor)) {}

    /// The first value counts.
    void complete(T value) const {
        if (state->value) return;
        state->value.emplace(std::move(value));
        state->wake();
    }

    auto operator co_await() const noexcept { return Waiting(state); }

private:
    struct State {
        explicit State(MainActor& actor) : actor(actor) {}

        MainActor& actor;
        std::optional<T> value;
        std::coroutine_handle<> waiting;
        TaskRoot* root = nullptr;
        Token wakeUp; // dropped with the waiting frame, see Waiting

        void wake() {
            if (waiting && !wakeUp.isSet())
                wakeUp = actor.schedule(0, [this] { root->resume(std::exchange(waiting, {})); });
        }
    };

    struct Waiting {
        std::shared_ptr<State> state;

        explicit Waiting(std::shared_ptr<State> state) : state(std::move(state)) {}
        Waiting(const Waiting&) = delete;
        Waiting& operator=(const Waiting&) = delete;
        ~Waiting() {
            state->waiting = {};
            state->wakeUp.reset();
        }
        bool await_ready() const noexcept { return state->value.has_value(); }
        template <typename Promise>
        void await_suspend(std::coroutine_handle<Promise> frame) {
            state->waiting = frame;
            state->root = frame.promise().root;
        }
        T await_resume() { return std::move(*state->value); }
    };

    std::shared_ptr<State> state;
};

} // namespace nimbe
