#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <stop_token>
#include <thread>
#include <utility>
#include <vector>

#include "Foundation/MainActor.h"
#include "Foundation/Task.h"

namespace nimbe {

/// Threads for work that would hold the main thread up. Main thread.
class Background {
public:
    explicit Background(MainActor& actor) : actor(actor) {}
    /// Asks what still runs to stop, and waits for it.
    ~Background() = default;

    /// `work` is destroyed before its result is there. A task that goes meanwhile asks
    /// it to stop and does not wait.
    template <typename T>
    [[nodiscard]] Task<T> run(std::function<T(const std::stop_token&)> work) {
        return resultOf(*this, std::move(work));
    }

private:
    using Job = std::function<void(const std::stop_token&)>;
    struct Thread {
        std::shared_ptr<std::atomic<bool>> isDone;
        std::jthread thread;
    };
    class Running {
    public:
        explicit Running(std::stop_source source) : source(std::move(source)) {}
        ~Running() { source.request_stop(); }
        Running(const Running&) = delete;
        Running& operator=(const Running&) = delete;

    private:
        std::stop_source source;
    };

    MainActor& actor;
    std::vector<Thread> threads;

    [[nodiscard]] std::stop_source start(Job job);

    template <typename T>
    static Task<T> resultOf(Background& background, std::function<T(const std::stop_token&)> work) {
        MainActor& actor = background.actor;
        Completion<T> completion(actor);
        const Running running(background.start(jobOf(actor, completion, std::move(work))));
        T result = co_await completion;
        co_return result;
    }

    template <typename T>
    static Job jobOf(
        MainActor& actor, Completion<T> completion, std::function<T(const std::stop_token&)> work) {
        return [&actor, completion, work = std::move(work)](const std::stop_token& stop) mutable {
            const auto result = std::make_shared<T>(work(stop));
            work = nullptr; // what it holds is free for whoever waits for the result
            actor.post([completion, result] { completion.complete(std::move(*result)); });
        };
    }
};

} // namespace nimbe
