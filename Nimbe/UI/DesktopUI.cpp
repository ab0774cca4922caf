#include "NimbeUI/DesktopUI.h"

#include <QtQuickControls2/QQuickStyle>
#include <QtWidgets/QApplication>

#include "NimbeApp/AppSettings.h"
#include "NimbeUI/MainWindow.h"
#include "NimbeUI/Tray.h"
#include "NimbeUI/TrayIcon.h"

namespace nimbe {

struct DesktopUI::Parts {
    Parts(DesktopServices services, QuickCaptureHUD& hud)
        : actions(std::move(services)), window(actions, hud), tray(actions) {}

    DesktopActions actions;
    MainWindow window;
    Tray tray;
};

DesktopUI::DesktopUI(DesktopServices services, QuickCaptureHUD& hud) {
    QApplication::setQuitOnLastWindowClosed(false);
    QApplication::setWindowIcon(applicationIcon());
    hud.follow(services.dictation);
    parts = std::make_unique<Parts>(std::move(services), hud);
    QObject::connect(
        &parts->actions, &DesktopActions::windowWanted, &parts->actions, [this] { activate(); });
}

DesktopUI::~DesktopUI() = default;

void DesktopUI::start(bool isHidden) {
    auto& services = parts->actions.all();
    services.microphones.refresh();
    parts->actions.refreshHistory();
    if (!isHidden || !services.defaults.get(AppSettings::onboardingCompleted)) activate();
}

void DesktopUI::activate() {
    parts->window.activate();
}

bool DesktopUI::take(const std::string& text) {
    return parts->window.take(text);
}

void DesktopUI::refreshHistory() {
    parts->actions.refreshHistory();
}

void prepareDesktopUI() {
    // A tenth of the memory of a software GL, and no drivers to trip over.
    if (!qEnvironmentVariableIsSet("QSG_RHI_BACKEND") &&
        !qEnvironmentVariableIsSet("QT_QUICK_BACKEND"))
        QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
    QQuickStyle::setStyle(QStringLiteral("Basic"));
}

} // namespace nimbe
