#pragma once

#include <functional>

#include "Foundation/Token.h"

namespace nimbe {

/// Whether the application has finished launching: its event loop runs. Main
/// thread.
class ApplicationLaunch {
public:
    virtual ~ApplicationLaunch() = default;

    [[nodiscard]] virtual bool isFinished() const = 0;

    /// Calls `handler` once, when launching finishes, until the token is dropped.
    [[nodiscard]] virtual Token observeFinish(std::function<void()> handler) = 0;
};

} // namespace nimbe
