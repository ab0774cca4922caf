#pragma once

#include <functional>

#include "Foundation/Date.h"
#include "Foundation/Token.h"

namespace nimbe {

/// The one thread that runs the program's logic, and its clock.
class MainActor {
public:
    virtual ~MainActor() = default;

    /// Runs `job` on the main thread after all that was posted before, never
    /// inside this call. Any thread.
    virtual void post(std::function<void()> job) = 0;

    /// Runs `job` once, `delay` from now (at the next turn when it is not
    /// positive), unless the token is dropped first. Main thread.
    [[nodiscard]] virtual Token schedule(Seconds delay, std::function<void()> job) = 0;

    /// The monotonic clock; only differences mean something. Any thread.
    [[nodiscard]] virtual Seconds now() const = 0;
};

} // namespace nimbe
