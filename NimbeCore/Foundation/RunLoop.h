#pragma once

#include <condition_variable>
#include <deque>
#include <map>
#include <memory>
#include <mutex>

#include "Foundation/MainActor.h"
#include "Foundation/Task.h"

namespace nimbe {

/// The main actor of a program without a desktop: the thread that calls run().
class RunLoop final : public MainActor {
public:
    /// Runs jobs and timers until stop(); what is still posted stays for the
    /// next run.
    void run();

    /// Any thread; also before run(), which then returns at once.
    void stop();

    /// Runs until the task ends.
    void runUntilDone(Task<void> task);

    void post(std::function<void()> job) override;
    [[nodiscard]] Token schedule(Seconds delay, std::function<void()> job) override;
    [[nodiscard]] Seconds now() const override;

private:
    using Job = std::function<void()>;

    mutable std::mutex mutex;
    std::condition_variable wakeUp;
    std::deque<Job> jobs;
    std::multimap<Seconds, std::weak_ptr<Job>> timers; // a dropped token leaves a dead one
    bool isStopped = false;
    bool lastWasTimer = false;

    [[nodiscard]] bool next(Job& job);
};

} // namespace nimbe
