#include "NimbeApp/MacAppDelegate.h"

#include <utility>

#include "Foundation/TaskScope.h"
#include "NimbeApp/AXInserter.h"
#include "NimbeApp/CrashSentinelController.h"
#include "NimbeApp/MacDictationController.h"

namespace nimbe {
namespace {

/// Until nothing is recorded or finished any more.
Task<bool> dictationEnded(MainActor& actor, MacDictationController& controller) {
    using Kind = MacDictationController::Phase::Kind;
    const auto isOver = [](const MacDictationController::Phase& phase) {
        return phase.kind == Kind::idle || phase.kind == Kind::done ||
               phase.kind == Kind::unavailable;
    };
    const Completion<bool> over(actor);
    const auto watching = controller._phase.observe([over, isOver](const auto& phase) {
        if (isOver(phase)) over.complete(true);
    });
    if (isOver(controller._phase.get())) co_return true;
    co_return co_await over;
}

Task<bool> settled(AXInserter& inserter) {
    auto settling = inserter.settle();
    co_await settling;
    co_return true;
}

} // namespace

MacAppDelegate::MacAppDelegate(MainActor& actor, LogSink& sink) : actor(actor), log(sink, "app") {}

Token MacAppDelegate::observeFinish(std::function<void()> handler) {
    auto held = std::make_shared<std::function<void()>>(std::move(handler));
    observers.push_back(held);
    return Token(std::move(held));
}

void MacAppDelegate::applicationDidFinishLaunching() {
    hasLaunched = true;
    for (const auto& weak : std::exchange(observers, {}))
        if (const auto handler = weak.lock()) (*handler)();
}

void MacAppDelegate::terminate(
    MacDictationController& controller, AXInserter& inserter, std::function<void()> quit) {
    if (ending.isRunning()) {
        quit();
        return;
    }
    ending = startTask(actor, end(controller, inserter, std::move(quit)));
}

Task<void> MacAppDelegate::end(
    MacDictationController& controller, AXInserter& inserter, std::function<void()> quit) {
    if (controller.wrapUp()) log.info("app: ends after the dictation that is going on");
    auto finishing = withDeadline(actor, patience, dictationEnded(actor, controller));
    const auto hasEnded = co_await finishing;
    if (!hasEnded) log.error("app: the dictation did not end in time");
    auto settling = withDeadline(actor, 2, settled(inserter));
    (void)co_await settling;
    quit();
}

void MacAppDelegate::applicationWillTerminate(CrashSentinelController& sentinel) {
    sentinel.applicationWillTerminate();
}

} // namespace nimbe
