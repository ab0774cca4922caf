#include "Foundation/RunLoop.h"

#include <algorithm>
#include <chrono>

namespace nimbe {

namespace {

Task<void> thenStop(Task<void> task, RunLoop& loop) {
    co_await task;
    loop.stop();
}

} // namespace

Seconds RunLoop::now() const {
    const auto sinceStart = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::duration<Seconds>(sinceStart).count();
}

void RunLoop::run() {
    Job job;
    while (next(job)) {
        job();
        job = nullptr; // what it owns dies before the next wait
    }
}

void RunLoop::stop() {
    const std::lock_guard lock(mutex);
    isStopped = true;
    wakeUp.notify_all();
}

void RunLoop::runUntilDone(Task<void> task) {
    const auto running = startTask(*this, thenStop(std::move(task), *this));
    run();
}

void RunLoop::post(std::function<void()> job) {
    const std::lock_guard lock(mutex);
    jobs.push_back(std::move(job));
    wakeUp.notify_all();
}

Token RunLoop::schedule(Seconds delay, std::function<void()> job) {
    auto held = std::make_shared<Job>(std::move(job));
    const std::lock_guard lock(mutex);
    timers.emplace(now() + std::max(delay, 0.0), held);
    wakeUp.notify_all();
    return Token(std::move(held));
}

/// Waits for what comes next; false once stopped.
bool RunLoop::next(Job& job) {
    std::unique_lock lock(mutex);
    while (!isStopped) {
        while (!timers.empty() && timers.begin()->second.expired()) timers.erase(timers.begin());
        // Timers and posted jobs take turns, so that neither kind, by bringing
        // forth more of itself, holds up the other.
        const bool isJobsTurn = lastWasTimer && !jobs.empty();
        lastWasTimer = false;
        if (!isJobsTurn && !timers.empty() && timers.begin()->first <= now()) {
            const auto due = timers.begin()->second.lock();
            timers.erase(timers.begin());
            if (!due) continue;
            lastWasTimer = true;
            job = [due] {
                (*due)();
            };
            return true;
        }
        if (!jobs.empty()) {
            job = std::move(jobs.front());
            jobs.pop_front();
            return true;
        }
        if (timers.empty()) {
            wakeUp.wait(lock);
        } else {
            wakeUp.wait_for(lock, std::chrono::duration<Seconds>(timers.begin()->first - now()));
        }
    }
    isStopped = false;
    return false;
}

} // namespace nimbe
