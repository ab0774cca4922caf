#include "NimbeUI/TrayMenu.h"

#include <utility>

#include "Foundation/Text.h"
#include "NimbeApp/CrashSentinelController.h"

namespace nimbe {
namespace {

using Command = TrayMenu::Command;
using Item = TrayMenu::Item;
using Items = std::vector<Item>;
using Kind = TrayMenu::Phase::Kind;

Item line(std::string text) {
    return {.title = std::move(text), .isEnabled = false};
}

Item action(std::string_view title, Command command) {
    return {.title = std::string(title), .command = command};
}

bool isUnderWay(const TrayMenu::Input& input) {
    const auto kind = input.phase.kind;
    return kind == Kind::preparing || kind == Kind::recording;
}

void addDictation(Items& items, const TrayMenu::Input& input) {
    items.push_back(line(TrayMenu::statusLine(input)));
    if (isUnderWay(input)) {
        items.push_back(action("Stop Dictation", Command::stopDictation));
        items.push_back(action("Cancel Dictation", Command::cancelDictation));
    } else {
        auto start = action("Start Dictation", Command::startDictation);
        start.isEnabled = input.phase.kind != Kind::finalizing;
        items.push_back(std::move(start));
    }
    items.emplace_back();
}

void addCrash(Items& items, const TrayMenu::Input& input) {
    if (!input.crash || !input.crash->uncleanShutdown) return;
    auto banner = line(std::string(CrashSentinelController::bannerText));
    banner.symbol = "exclamationmark.triangle.fill";
    items.push_back(std::move(banner));
    items.push_back(action(CrashSentinelController::reportButton, Command::reportProblem));
    if (input.showsLocalOnlyNote)
        items.push_back(line(std::string(CrashSentinelController::localOnlyNote)));
    else if (input.crash->offerLocalOnly)
        items.push_back(
            action(CrashSentinelController::localOnlyButton, Command::relaunchLocalOnly));
    items.push_back(action("Dismiss", Command::dismissCrash));
    items.emplace_back();
}

Item microphones(const TrayMenu::Input& input) {
    Item menu{.title = "Microphone"};
    for (const auto& device : input.microphones)
        menu.children.push_back({.title = device.name,
            .command = Command::selectMicrophone,
            .argument = device.uid,
            .isChecked = device.uid == input.preferredMicrophone});
    menu.isEnabled = !menu.children.empty();
    return menu;
}

Item recent(const TrayMenu::Input& input) {
    Item menu{.title = "Recent Dictations"};
    for (const auto& entry : input.recent) {
        if (menu.children.size() == TrayMenu::mostRecent) break;
        menu.children.push_back({.title = text::onOneLine(entry.text, TrayMenu::longestTitle),
            .command = Command::copyDictation,
            .argument = entry.id.text()});
    }
    menu.isEnabled = !menu.children.empty();
    return menu;
}

void addUpdate(Items& items, const TrayMenu::Input& input) {
    if (!input.availableVersion) return;
    auto update = action("Update available: " + *input.availableVersion, Command::openDownloadPage);
    update.symbol = "arrow.down.circle.fill";
    items.push_back(std::move(update));
    items.emplace_back();
}

} // namespace

std::string TrayMenu::statusLine(const Input& input) {
    switch (input.phase.kind) {
    case Kind::idle: return "Hold " + input.trigger + " and speak.";
    case Kind::preparing: return "Getting ready…";
    case Kind::recording:
        if (input.interaction == Interaction::latched) return "Recording hands-free.";
        return input.targetName ? "Recording for " + *input.targetName + "." : "Recording.";
    case Kind::finalizing: return "Finishing…";
    case Kind::done:
    case Kind::unavailable: return text::onOneLine(input.phase.message, 80);
    }
    return {};
}

std::vector<TrayMenu::Item> TrayMenu::items(const Input& input) {
    Items items;
    addDictation(items, input);
    addCrash(items, input);
    addUpdate(items, input);
    items.push_back(microphones(input));
    const bool isInVain = input.isCleanupEnabled && input.hasNoModel;
    items.push_back({.title = isInVain ? "AI Cleanup (no model answers)" : "AI Cleanup",
        .command = Command::toggleCleanup,
        .isChecked = input.isCleanupEnabled});
    items.push_back(recent(input));
    items.emplace_back();
    items.push_back(action("Open Nimbe…", Command::openWindow));
    items.push_back({.title = "Start at Login",
        .command = Command::toggleLoginItem,
        .isChecked = input.startsAtLogin});
    items.emplace_back();
    items.push_back(action("Quit Nimbe", Command::quit));
    return items;
}

TrayMenu::Icon TrayMenu::icon(const Phase& phase, bool hasCrashBanner) {
    switch (phase.kind) {
    case Kind::idle:
    case Kind::done: return hasCrashBanner ? Icon::problem : Icon::idle;
    case Kind::recording: return Icon::recording;
    case Kind::preparing:
    case Kind::finalizing: return Icon::working;
    case Kind::unavailable: return Icon::problem;
    }
    return Icon::idle;
}

} // namespace nimbe
