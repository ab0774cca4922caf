#include "NimbeApp/AXInserter.h"

#include <utility>

#include "Foundation/Text.h"

namespace nimbe {

AXInserter::AXInserter(Platform platform) : platform(platform), log(platform.log, "insert") {}

Task<std::string> AXInserter::deliver(std::string text, std::optional<RunningApplication> target) {
    if (!platform.trust.isTrusted()) {
        log.warning("insert: Accessibility not granted -> clipboard only");
        auto copying =
            copy(std::move(text), "Copied to clipboard, grant Accessibility to auto-insert");
        co_return co_await copying;
    }
    const std::string name = target ? target->localizedName.value_or("none") : "none";
    log.info("insert target: %s pid=%d", name.c_str(), target && target->pid ? *target->pid : -1);
    if (!target || platform.workspace.isThisApplication(*target)) {
        auto copying = copy(std::move(text), "Copied to clipboard");
        co_return co_await copying;
    }

    auto activating = bringForward(*target);
    const bool isForward = co_await activating;
    times.activated = platform.actor.now();
    const auto insertTarget = isForward ? target : std::nullopt;
    auto inserting = insert(std::move(text), insertTarget);
    const auto inserted = co_await inserting;
    if (inserted == Inserted::pasted) co_return std::string(pasted);
    if (inserted == Inserted::nowhere) co_return std::string(clipboardUnreachable);
    if (isForward) co_return "Copied to clipboard";
    co_return "Copied to clipboard. " + target->localizedName.value_or("the app") +
        " didn't come forward.";
}

bool AXInserter::isFrontmost(const RunningApplication& target) {
    const auto front = platform.workspace.frontmostApplication();
    return front && *front == target;
}

/// Looks whenever an application comes to the front, and every now and then, since a
/// desktop may forget to tell.
Task<bool> AXInserter::bringForward(RunningApplication target) {
    // The usual case: it never went away. Asking for it would only make it blink.
    if (isFrontmost(target)) co_return true;
    std::optional<Completion<bool>> next;
    const auto observation = platform.workspace.observeActivation([&next](const auto&) {
        if (next) next->complete(true);
    });
    platform.workspace.activate(target);
    const Seconds deadline = platform.actor.now() + activationPatience;
    while (platform.actor.now() < deadline) {
        if (isFrontmost(target)) co_return true;
        next.emplace(platform.actor);
        const Completion<bool> wakeUp = *next;
        const auto timer =
            platform.actor.schedule(activationInterval, [wakeUp] { wakeUp.complete(true); });
        co_await wakeUp;
    }
    co_return isFrontmost(target);
}

/// As any program copies: nothing is put back.
Task<std::string> AXInserter::copy(std::string text, std::string outcome) {
    restoring.reset();
    replaced.reset();
    auto contents = PasteboardContents::plainText(text);
    auto writing = platform.pasteboard.write(std::move(contents));
    const auto written = co_await writing;
    if (!written) co_return std::string(clipboardUnreachable);
    co_return outcome;
}

Task<AXInserter::Snapshot> AXInserter::snapshotPasteboard(bool withSelection) {
    Snapshot snapshot;
    auto reading = platform.pasteboard.snapshot();
    snapshot.pasteboard = co_await reading;
    if (withSelection) {
        auto readingSelection = platform.selection.snapshot();
        snapshot.selection = co_await readingSelection;
    }
    co_return snapshot;
}

Task<AXInserter::Inserted> AXInserter::insert(
    std::string text, std::optional<RunningApplication> target) {
    const auto own = platform.defaults.get(PasteRules::own);
    const auto rule = target ? PasteRules::rule(target->windowClass, own) : PasteRules::Rule();
    // What the text of a moment ago has replaced is put back first, so that it is not
    // that text which is put back in the end.
    auto settling = settle();
    co_await settling;
    auto snapshotting = snapshotPasteboard(rule.needsSelection);
    Snapshot before = co_await snapshotting;

    auto contents = PasteboardContents::concealedText(text);
    auto writing = platform.pasteboard.write(contents);
    const auto change = co_await writing;
    if (!change) {
        log.error("insert: the clipboard could not be taken over");
        co_return Inserted::nowhere;
    }
    std::optional<Pasteboard::Change> selectionChange;
    if (rule.needsSelection) {
        auto writingSelection = platform.selection.write(std::move(contents));
        selectionChange = co_await writingSelection;
    }
    const int earlierReads = platform.pasteboard.timesRead(*change);
    // The clipboard may have taken its time, and the user gone elsewhere: never paste there.
    if (!target || !isFrontmost(*target) || !postCommandV(rule)) {
        log.info("insert: no target / Cmd-V not posted -> left on clipboard");
        co_return Inserted::leftOnClipboard;
    }
    times.posted = platform.actor.now();
    log.info("insert: pasted via Cmd-V into pid=%d len=%zu", target->pid.value_or(-1),
        text::characterCount(text));
    replaced = Replaced{std::move(before), *change, selectionChange, earlierReads};
    restoring = startTask(platform.actor, restoreLater());
    co_return Inserted::pasted;
}

bool AXInserter::postCommandV(const PasteRules::Rule& rule) {
    if (platform.keys.post(rule.chord)) return true;
    log.error("insert: failed to create Cmd-V CGEvents");
    return false;
}

Task<void> AXInserter::restoreLater() {
    co_await sleep(platform.actor, restoreDelay);
    auto putting = restorePasteboard();
    co_await putting;
}

Task<void> AXInserter::settle() {
    restoring.reset();
    // The application that was told to paste must have had the time for it.
    while (replaced && platform.pasteboard.timesRead(replaced->change) <= replaced->earlierReads &&
           platform.actor.now() < times.posted + restoreDelay)
        co_await sleep(platform.actor, activationInterval);
    auto putting = restorePasteboard();
    co_await putting;
}

/// Where another program has written since, its contents stay.
Task<void> AXInserter::restorePasteboard() {
    if (!replaced) co_return;
    const auto pending = *std::exchange(replaced, std::nullopt);
    log.info(
        "insert: the text was fetched %d times", platform.pasteboard.timesRead(pending.change));
    auto putting = platform.pasteboard.replace(pending.change, pending.before.pasteboard);
    const bool isBack = co_await putting;
    if (!isBack) log.info("insert: the clipboard has newer contents, they stay");
    if (!pending.selectionChange || !pending.before.selection) co_return;
    auto puttingSelection =
        platform.selection.replace(*pending.selectionChange, *pending.before.selection);
    (void)co_await puttingSelection;
}

} // namespace nimbe
