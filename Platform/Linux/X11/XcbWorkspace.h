#pragma once

#include <memory>

#include "Foundation/MainActor.h"
#include "NimbeApp/Workspace.h"
#include "PlatformX11/XcbLoop.h"

namespace nimbe {

/// The windows of the display, as its window manager tells of them. An application is
/// called what its .desktop file calls it, else as its window's class or title.
///
/// In front is the window that has the keyboard, which need not be the one that the window
/// manager calls active. Without a window manager nobody is told of activations.
class XcbWorkspace final : public Workspace {
public:
    /// `actor` outlives it. Null when the display cannot be reached.
    [[nodiscard]] static std::unique_ptr<XcbWorkspace> connect(MainActor& actor, LogSink& sink);
    ~XcbWorkspace() override;

    [[nodiscard]] std::optional<RunningApplication> frontmostApplication() override;
    /// By the window manager's word.
    [[nodiscard]] Token observeActivation(
        std::function<void(const RunningApplication&)> handler) override;
    void activate(const RunningApplication& application) override;
    [[nodiscard]] bool isThisApplication(const RunningApplication& application) const override;

private:
    class State;

    XcbWorkspace(MainActor& actor, std::unique_ptr<XcbLoop> loop, std::shared_ptr<State> state);

    std::shared_ptr<State> state; // the main thread's
    std::unique_ptr<XcbLoop> loop;
};

} // namespace nimbe
