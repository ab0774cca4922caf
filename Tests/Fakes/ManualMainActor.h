#pragma once

#include <deque>
#include <map>
#include <memory>

#include "Foundation/MainActor.h"

namespace nimbe {

/// A main actor whose clock stands still until the test moves it.
class ManualMainActor final : public MainActor {
public:
    void post(std::function<void()> job) override;
    [[nodiscard]] Token schedule(Seconds delay, std::function<void()> job) override;
    [[nodiscard]] Seconds now() const override { return time; }

    /// Runs what is posted and due, and what that posts, without moving the clock.
    void runPosted();

    /// Moves the clock on, stopping at each timer on the way.
    void advance(Seconds seconds);

    /// Timers that would still fire.
    [[nodiscard]] std::size_t pendingTimers() const;

private:
    using Job = std::function<void()>;

    Seconds time = 0;
    std::deque<Job> jobs;
    std::multimap<Seconds, std::weak_ptr<Job>> timers;
};

} // namespace nimbe
