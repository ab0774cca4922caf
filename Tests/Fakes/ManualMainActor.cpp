#include "Fakes/ManualMainActor.h"

#include <algorithm>

namespace nimbe {

void ManualMainActor::post(std::function<void()> job) {
    jobs.push_back(std::move(job));
}

Token ManualMainActor::schedule(Seconds delay, std::function<void()> job) {
    auto held = std::make_shared<Job>(std::move(job));
    timers.emplace(time + std::max(delay, 0.0), held);
    return Token(std::move(held));
}

void ManualMainActor::runPosted() {
    for (;;) {
        if (!timers.empty() && timers.begin()->first <= time) {
            const auto due = timers.begin()->second.lock();
            timers.erase(timers.begin());
            if (due) (*due)();
        } else if (!jobs.empty()) {
            const auto job = std::move(jobs.front());
            jobs.pop_front();
            job();
        } else {
            return;
        }
    }
}

void ManualMainActor::advance(Seconds seconds) {
    runPosted();
    const Seconds end = time + seconds;
    while (!timers.empty() && timers.begin()->first <= end) {
        time = std::max(time, timers.begin()->first);
        runPosted();
    }
    time = end;
    runPosted();
}

std::size_t ManualMainActor::pendingTimers() const {
    return static_cast<std::size_t>(std::count_if(
        timers.begin(), timers.end(), [](const auto& timer) { return !timer.second.expired(); }));
}

} // namespace nimbe
