#include "NimbeUI/DesktopActions.h"

#include <algorithm>

#include "NimbeApp/AppSettings.h"
#include "NimbeEngine/Cleanup/MacCleanupPolicy.h"
#include "NimbeKitCore/Microphone/MicrophoneSelection.h"
#include "NimbeSync/HistorySyncPrompt.h"

namespace nimbe {

DesktopActions::DesktopActions(DesktopServices given)
    : services(std::move(given)), tasks(services.actor) {
    observe();
}

void DesktopActions::observe() {
    auto& dictation = services.dictation;
    const auto tell = [this](const auto&) {
        tellLater();
    };
    observers.push_back(dictation._phase.observe([this](const auto& phase) {
        using Kind = MacDictationController::Phase::Kind;
        // That is when there is a new entry.
        if (phase.kind == Kind::done || phase.kind == Kind::unavailable) refreshHistory();
        tellLater();
    }));
    observers.push_back(dictation._interaction.observe(tell));
    observers.push_back(dictation._targetName.observe(tell));
    observers.push_back(services.microphones._devices.observe(tell));
    observers.push_back(services.model.availability().observe(tell));
    observers.push_back(services.updates._available.observe(tell));
    observers.push_back(services.exporter._folderPath.observe(tell));
    observers.push_back(services.exporter._lastResult.observe(tell));
    observers.push_back(services.crashes._assessment.observe(tell));
    observers.push_back(services.shortcuts.observeChanges([this] { tellLater(); }));
}

void DesktopActions::tellLater() {
    if (isTold) return;
    isTold = true;
    telling = services.actor.schedule(0, [this] {
        isTold = false;
        emit changed();
    });
}

void DesktopActions::settingsChanged() {
    tellLater();
}

void DesktopActions::inBackground(std::function<void()> work, std::function<void()> then) {
    if (!services.inBackground) {
        work();
        if (then) then();
        return;
    }
    const std::weak_ptr<int> weak = alive;
    services.inBackground(
        [weak, &actor = services.actor, work = std::move(work), then = std::move(then)] {
            work();
            if (!then) return;
            actor.post([weak, then] {
                if (!weak.expired()) then();
            });
        });
}

void DesktopActions::refreshHistory() {
    const auto reading = std::make_shared<Reading>();
    inBackground([reading, &stored = services.history] { *reading = read(stored); },
        [this, reading] { take(std::move(*reading)); });
}

bool DesktopActions::setKeepsAll(bool keepsAll) {
    // Whoever has chosen need not be asked.
    const bool isStored = services.defaults.transaction([&] {
        return services.defaults.set(HistorySyncPrompt::historyEnabled, keepsAll) &&
               HistorySyncPrompt(services.defaults).dismiss();
    });
    if (isStored) fillHistory();
    return isStored;
}

bool DesktopActions::answerKeepingAll(bool isWanted) {
    HistorySyncPrompt prompt(services.defaults);
    const bool isStored = isWanted ? prompt.accept() : prompt.dismiss();
    if (isStored) fillHistory();
    return isStored;
}

void DesktopActions::fillHistory() {
    inBackground([&stored = services.history] { stored.fill(); });
    refreshHistory();
    tellLater();
}

DesktopActions::Reading DesktopActions::read(HistoryLibrary& history) {
    auto feed = history.feed();
    const auto found = history.problem();
    return {std::move(feed).entries(), found ? std::string(found->sentence) : std::string()};
}

void DesktopActions::take(Reading reading) {
    history = std::make_shared<Entries>(std::move(reading.entries));
    problem = std::move(reading.problem);
    emit historyChanged();
    tellLater();
}

void DesktopActions::perform(TrayMenu::Command command, const std::string& argument) {
    using enum TrayMenu::Command;
    switch (command) {
    case none: return;
    case startDictation: (void)services.dictation.startLatched(); return;
    case stopDictation: (void)services.dictation.stopRecording(); return;
    case cancelDictation: (void)services.dictation.cancelRecording(); return;
    case selectMicrophone: (void)services.microphones.select(argument); break;
    case copyDictation: {
        const auto found = std::find_if(history->begin(), history->end(),
            [&](const auto& entry) { return entry.id.text() == argument; });
        if (found != history->end()) copy(found->text);
        return;
    }
    case toggleCleanup: {
        const auto& setting = MacCleanupPolicy::aiCleanupEnabled;
        (void)services.defaults.set(setting, !services.defaults.get(setting));
        refreshModel();
        break;
    }
    case openDownloadPage: services.updates.openDownloadPage(); return;
    case reportProblem: services.crashes.reportProblem(); return;
    case relaunchLocalOnly: showsLocalOnlyNote = services.crashes.relaunchLocalOnly(); break;
    case dismissCrash:
        showsLocalOnlyNote = false;
        services.crashes.dismiss();
        break;
    case openWindow: emit windowWanted(); return;
    case toggleLoginItem:
        (void)services.loginItem.setEnabled(!services.loginItem.isEnabled());
        break;
    case quit: services.quit(); return;
    }
    tellLater();
}

void DesktopActions::copy(std::string text) {
    tasks.start(write(services.pasteboard, std::move(text), Log(services.log, "ui")));
}

Task<void> DesktopActions::write(Pasteboard& pasteboard, std::string text, Log log) {
    auto contents = PasteboardContents::plainText(text);
    auto writing = pasteboard.write(std::move(contents));
    const auto change = co_await writing;
    if (!change) log.warning("copy: the clipboard could not be taken over");
}

bool DesktopActions::isMenuBarVisible() const {
    return services.defaults.get(AppSettings::menuBarVisible);
}

std::string DesktopActions::trigger() const {
    const auto chord = services.shortcuts.shortcut(MacDictationController::shortcutName);
    return chord ? chord->displayName() : "Alt (Option)";
}

void DesktopActions::refreshModel() {
    if (services.defaults.get(MacCleanupPolicy::aiCleanupEnabled)) services.model.refresh();
}

TrayMenu::Input DesktopActions::state() const {
    using Kind = LanguageModel::Availability::Kind;
    const auto model = services.model.availability().get().kind;
    const auto& update = services.updates._available.get();
    const auto recent = std::min(history->size(), TrayMenu::mostRecent);
    return {
        .phase = services.dictation._phase.get(),
        .interaction = services.dictation._interaction.get(),
        .targetName = services.dictation._targetName.get(),
        .trigger = trigger(),
        .microphones = services.microphones._devices.get(),
        .preferredMicrophone = MicrophoneSelection::preferredUID(services.defaults),
        .isCleanupEnabled = services.defaults.get(MacCleanupPolicy::aiCleanupEnabled),
        .hasNoModel = model != Kind::available && model != Kind::unknown,
        .recent = {history->begin(), history->begin() + static_cast<std::ptrdiff_t>(recent)},
        .availableVersion = update ? std::optional(update->version) : std::nullopt,
        .crash = services.crashes._assessment.get(),
        .showsLocalOnlyNote = showsLocalOnlyNote,
        .startsAtLogin = services.loginItem.isEnabled(),
    };
}

} // namespace nimbe
