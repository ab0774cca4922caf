#pragma once

#include <functional>
#include <optional>

#include "Foundation/Token.h"
#include "NimbeApp/RunningApplication.h"

namespace nimbe {

/// The applications of the desktop. Main thread; answers at once.
class Workspace {
public:
    virtual ~Workspace() = default;

    /// Absent when no window is in front, or nobody tells which.
    [[nodiscard]] virtual std::optional<RunningApplication> frontmostApplication() = 0;

    /// Told of each application that comes to the front, until the token is dropped.
    [[nodiscard]] virtual Token observeActivation(
        std::function<void(const RunningApplication&)> handler) = 0;

    /// Asks for the window to come to the front with the keyboard, also from where it is
    /// minimised or on another desktop. It may refuse, or be gone.
    virtual void activate(const RunningApplication& application) = 0;

    /// Whether it is this program itself.
    [[nodiscard]] virtual bool isThisApplication(const RunningApplication& application) const = 0;
};

} // namespace nimbe
