#pragma once

#include <memory>

#include "Foundation/MainActor.h"

namespace nimbe {

/// The main actor of a program with a desktop: the thread of the QCoreApplication, which
/// must be there before and after it. Jobs run in whichever Qt event loop turns, nested
/// ones too. Between two of them the toolkit's own events have their turn; nothing wakes
/// up while nothing is posted or scheduled.
class QtMainActor final : public MainActor {
public:
    QtMainActor();
    QtMainActor(const QtMainActor&) = delete;
    QtMainActor& operator=(const QtMainActor&) = delete;
    /// What is still posted is dropped without running. Tokens may outlive it.
    ~QtMainActor() override;

    void post(std::function<void()> job) override;
    [[nodiscard]] Token schedule(Seconds delay, std::function<void()> job) override;
    [[nodiscard]] Seconds now() const override;

private:
    class Queue;
    std::shared_ptr<Queue> queue;
};

} // namespace nimbe
