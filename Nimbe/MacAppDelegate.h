#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "Foundation/Log.h"
#include "Foundation/Task.h"
#include "NimbeApp/ApplicationLaunch.h"

namespace nimbe {

class AXInserter;
class CrashSentinelController;
class MacDictationController;

/// What the application does when it has started and before it ends. Main actor.
class MacAppDelegate final : public ApplicationLaunch {
public:
    MacAppDelegate(MainActor& actor, LogSink& sink);

    [[nodiscard]] bool isFinished() const override { return hasLaunched; }
    [[nodiscard]] Token observeFinish(std::function<void()> handler) override;

    /// The event loop runs.
    void applicationDidFinishLaunching();

    /// The longest that the end of a dictation is waited for.
    static constexpr Seconds patience = 8;

    /// Ends the program without losing words: what is being said is finished and
    /// delivered, the clipboard is put back, then `quit` is called. A second call quits
    /// at once. The three outlive it.
    void terminate(
        MacDictationController& controller, AXInserter& inserter, std::function<void()> quit);

    /// The last thing of a clean end, however it came about; more than once is no harm.
    static void applicationWillTerminate(CrashSentinelController& sentinel);

private:
    [[nodiscard]] Task<void> end(
        MacDictationController& controller, AXInserter& inserter, std::function<void()> quit);

    MainActor& actor;
    Log log;
    bool hasLaunched = false;
    std::vector<std::weak_ptr<std::function<void()>>> observers;
    TaskHandle ending;
};

} // namespace nimbe
