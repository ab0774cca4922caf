#include "NimbeUI/WindowViewModel.h"

#include "NimbeApp/AppSettings.h"
#include "NimbeApp/InsertSettings.h"
#include "NimbeSync/HistorySyncPrompt.h"
#include "NimbeUI/QtText.h"

namespace nimbe {
namespace {

using Kind = MacDictationController::Phase::Kind;
const QString welcome = QStringLiteral("welcome");

} // namespace

WindowViewModel::WindowViewModel(DesktopActions& given, Theme& theme)
    : actions(given), theme(theme) {
    shownPage = actions.all().defaults.get(AppSettings::onboardingCompleted)
                    ? QStringLiteral("history")
                    : welcome;
    connect(&actions, &DesktopActions::changed, this, &WindowViewModel::changed);
}

bool WindowViewModel::take(const std::string& text) {
    if (shownPage != welcome) return false;
    lastHeard = qtText(text);
    emit heardChanged();
    return true;
}

QString WindowViewModel::page() const {
    return shownPage;
}

void WindowViewModel::showPage(const QString& name) {
    if (shownPage == welcome || name == shownPage) return;
    const bool isSettings = name == QLatin1String("settings");
    if (isSettings) pageBefore = shownPage;
    shownPage = name;
    failure.clear();
    if (isSettings) actions.all().microphones.refresh();
    emit changed();
}

void WindowViewModel::goBack() {
    showPage(pageBefore);
}

void WindowViewModel::finishWelcome() {
    (void)actions.all().defaults.set(AppSettings::onboardingCompleted, true);
    shownPage = QStringLiteral("history");
    emit changed();
}

QString WindowViewModel::status() const {
    return qtText(TrayMenu::statusLine(actions.state()));
}

QString WindowViewModel::triggerName() const {
    return qtText(actions.trigger());
}

bool WindowViewModel::isRecording() const {
    const auto kind = actions.all().dictation._phase.get().kind;
    return kind == Kind::preparing || kind == Kind::recording;
}

bool WindowViewModel::isBusy() const {
    return actions.all().dictation._phase.get().kind == Kind::finalizing;
}

void WindowViewModel::toggleDictation() {
    actions.perform(
        isRecording() ? TrayMenu::Command::stopDictation : TrayMenu::Command::startDictation);
}

bool WindowViewModel::hasCrashBanner() const {
    return actions.all().crashes._assessment.get().uncleanShutdown;
}

QString WindowViewModel::crashText() {
    return qtText(CrashSentinelController::bannerText);
}

QString WindowViewModel::reportTitle() {
    return qtText(CrashSentinelController::reportButton);
}

QString WindowViewModel::localOnlyTitle() const {
    const auto state = actions.state();
    const bool isOffered = state.crash && state.crash->offerLocalOnly && !state.showsLocalOnlyNote;
    return isOffered ? qtText(CrashSentinelController::localOnlyButton) : QString();
}

QString WindowViewModel::localOnlyNote() const {
    return actions.state().showsLocalOnlyNote ? qtText(CrashSentinelController::localOnlyNote)
                                              : QString();
}

void WindowViewModel::reportProblem() {
    actions.perform(TrayMenu::Command::reportProblem);
}

void WindowViewModel::relaunchLocalOnly() {
    actions.perform(TrayMenu::Command::relaunchLocalOnly);
}

void WindowViewModel::dismissCrash() {
    actions.perform(TrayMenu::Command::dismissCrash);
}

QString WindowViewModel::update() const {
    const auto& update = actions.all().updates._available.get();
    return update ? tr("Update available: %1").arg(qtText(update->version)) : QString();
}

void WindowViewModel::openDownloadPage() {
    actions.perform(TrayMenu::Command::openDownloadPage);
}

QStringList WindowViewModel::microphones() const {
    QStringList names;
    for (const auto& device : actions.all().microphones._devices.get())
        names.append(qtText(device.name));
    return names;
}

int WindowViewModel::microphone() const {
    const auto state = actions.state();
    for (std::size_t i = 0; i < state.microphones.size(); ++i)
        if (state.microphones[i].uid == state.preferredMicrophone) return static_cast<int>(i);
    return -1;
}

void WindowViewModel::selectMicrophone(int index) {
    const auto& devices = actions.all().microphones._devices.get();
    if (index < 0 || static_cast<std::size_t>(index) >= devices.size()) return;
    actions.perform(
        TrayMenu::Command::selectMicrophone, devices[static_cast<std::size_t>(index)].uid);
}

bool WindowViewModel::usesChord() const {
    return actions.all().shortcuts.shortcut(MacDictationController::shortcutName).has_value();
}

void WindowViewModel::store(bool isStored) {
    failure = isStored ? QString() : tr("This setting could not be stored.");
    actions.settingsChanged();
    emit changed();
}

bool WindowViewModel::insertSound() const {
    return actions.all().defaults.get(InsertSettings::insertSoundEnabled);
}

void WindowViewModel::setInsertSound(bool isOn) {
    store(actions.all().defaults.set(InsertSettings::insertSoundEnabled, isOn));
}

ObsidianExporter& WindowViewModel::exporter() const {
    return actions.all().exporter;
}

QString WindowViewModel::exportFolder() const {
    const auto& folder = exporter()._folderPath.get();
    return folder ? qtText(std::filesystem::path(*folder).filename().string()) : QString();
}

QString WindowViewModel::exportResult() const {
    return qtText(exporter()._lastResult.get().value_or(""));
}

bool WindowViewModel::autoExport() const {
    return actions.all().defaults.get(ObsidianExporter::isAutomatic);
}

void WindowViewModel::setAutoExport(bool isOn) {
    store(actions.all().defaults.set(ObsidianExporter::isAutomatic, isOn));
}

void WindowViewModel::chooseExportFolder() {
    exporter().chooseFolder();
}

void WindowViewModel::clearExportFolder() {
    exporter().clearFolder();
}

bool WindowViewModel::keepsAll() const {
    return actions.all().defaults.get(HistorySyncPrompt::historyEnabled);
}

void WindowViewModel::setKeepsAll(bool isOn) {
    store(actions.setKeepsAll(isOn));
}

bool WindowViewModel::offersKeepingAll() const {
    return !actions.entries().empty() && !keepsAll() &&
           HistorySyncPrompt(actions.all().defaults).isOffered();
}

void WindowViewModel::answerKeepingAll(bool isWanted) {
    store(actions.answerKeepingAll(isWanted));
}

void WindowViewModel::exportAll() {
    exporter().exportAll(actions.entries());
}

bool WindowViewModel::reduceMotion() const {
    return actions.all().defaults.get(AppSettings::reduceMotion);
}

void WindowViewModel::setReduceMotion(bool isOn) {
    store(actions.all().defaults.set(AppSettings::reduceMotion, isOn));
    theme.refresh();
}

bool WindowViewModel::startAtLogin() const {
    return actions.all().loginItem.isEnabled();
}

void WindowViewModel::setStartAtLogin(bool isOn) {
    store(actions.all().loginItem.setEnabled(isOn));
}

bool WindowViewModel::trayItem() const {
    return actions.isMenuBarVisible();
}

void WindowViewModel::setTrayItem(bool isShown) {
    store(actions.all().defaults.set(AppSettings::menuBarVisible, isShown));
}

bool WindowViewModel::updateChecks() const {
    return actions.all().defaults.get(UpdateChecker::automaticChecksEnabled);
}

void WindowViewModel::setUpdateChecks(bool isOn) {
    store(actions.all().defaults.set(UpdateChecker::automaticChecksEnabled, isOn));
    actions.all().updates.check();
}

} // namespace nimbe
