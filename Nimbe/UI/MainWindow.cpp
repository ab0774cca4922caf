#include "NimbeUI/MainWindow.h"

#include <QtCore/QEvent>
#include <QtGui/QScreen>
#include <QtQml/QQmlContext>
#include <QtQml/QQmlError>

namespace nimbe {
namespace {

constexpr QSize startSize(540, 700);
constexpr QSize leastSize(440, 480);

} // namespace

struct MainWindow::Scene {
    Scene(DesktopActions& actions, QuickCaptureHUD& hud)
        : window(actions, hud.appearance()), history(actions), recorder(actions),
          view(&hud.qmlEngine(), nullptr) {}

    WindowViewModel window;
    HistoryListModel history;
    ShortcutRecorder recorder;
    QQuickView view; // the first to go
};

MainWindow::MainWindow(DesktopActions& given, QuickCaptureHUD& hud)
    : actions(given), hud(hud), log(given.all().log, "ui") {}

MainWindow::~MainWindow() = default;

bool MainWindow::take(const std::string& text) {
    return scene && scene->window.take(text);
}

void MainWindow::make() {
    actions.refreshHistory();
    scene = std::make_unique<Scene>(actions, hud);
    auto& view = scene->view;
    view.setTitle(QStringLiteral("Nimbe"));
    view.setResizeMode(QQuickView::SizeRootObjectToView);
    view.setMinimumSize(leastSize);
    view.setColor(hud.appearance().background());
    view.setInitialProperties({{"theme", QVariant::fromValue(&hud.appearance())},
        {"model", QVariant::fromValue(&scene->window)},
        {"history", QVariant::fromValue(&scene->history)},
        {"recorder", QVariant::fromValue(&scene->recorder)}});
    view.setSource(QUrl("qrc:/nimbe/qml/Main.qml"));
    for (const auto& error : view.errors())
        log.error("ui: the window's scene, line %d: %s", error.line(),
            qUtf8Printable(error.description()));
    connect(&hud.appearance(), &Theme::changed, &view,
        [this, &view] { view.setColor(hud.appearance().background()); });
    view.installEventFilter(this);
    if (lastPlace.isValid())
        view.setGeometry(lastPlace);
    else
        view.resize(
            startSize.boundedTo(view.screen()->availableSize() * 0.9).expandedTo(leastSize));
}

void MainWindow::activate() {
    if (!scene) make();
    auto& view = scene->view;
    if (view.windowStates().testFlag(Qt::WindowMinimized))
        view.setWindowStates(view.windowStates() & ~Qt::WindowMinimized);
    view.show();
    view.raise();
    view.requestActivate();
    // Some window managers refuse a request that no click of the user stands behind.
    RunningApplication self;
    self.window = static_cast<std::uint64_t>(view.winId());
    actions.all().workspace.activate(self);
}

bool MainWindow::eventFilter(QObject* watched, QEvent* event) {
    if (scene && watched == &scene->view && event->type() == QEvent::Close) {
        lastPlace = scene->view.geometry();
        scene->recorder.stop();
        // Not within the window's own event.
        QMetaObject::invokeMethod(
            this,
            [this] {
                if (scene && !scene->view.isVisible()) scene.reset();
            },
            Qt::QueuedConnection);
    }
    return QObject::eventFilter(watched, event);
}

} // namespace nimbe
