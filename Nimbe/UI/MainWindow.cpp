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
        : window(actions, hud.appearance()), history(actions), recorder(actions), note(actions),
          languageModel(actions), clients(actions), view(&hud.qmlEngine(), nullptr) {
        QObject::connect(&note, &NoteEditViewModel::left, &history, &HistoryListModel::sayOfNote);
        QObject::connect(&note, &NoteEditViewModel::left, &window,
            [this] { window.showPage(QStringLiteral("history")); });
    }

    WindowViewModel window;
    HistoryListModel history;
    ShortcutRecorder recorder;
    NoteEditViewModel note;
    LanguageModelViewModel languageModel;
    AIClientsViewModel clients;
    QQuickView view; // the first to go
};

MainWindow::MainWindow(DesktopActions& given, QuickCaptureHUD& hud)
    : actions(given), hud(hud), log(given.all().log, "ui") {}

MainWindow::~MainWindow() = default;

bool MainWindow::take(const std::string& text) {
    return scene && (scene->window.take(text) || scene->note.take(text));
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
        {"recorder", QVariant::fromValue(&scene->recorder)},
        {"note", QVariant::fromValue(&scene->note)},
        {"languageModel", QVariant::fromValue(&scene->languageModel)},
        {"clients", QVariant::fromValue(&scene->clients)}});
    view.setSource(QUrl("qrc:/nimbe/qml/Main.qml"));
    for (const auto& error : view.errors())
        log.error("ui: the window's scene, line %d: %s", error.line(),
            qUtf8Printable(error.description()));
    connect(&hud.appearance(), &Theme::changed, &view,
        [this, &view] { view.setColor(hud.appearance().background()); });
    view.installEventFilter(this);
    connect(&scene->note, &NoteEditViewModel::changed, this, &MainWindow::dropUnused,
        Qt::QueuedConnection);
    // The window was closed, and what was in it could not be stored.
    connect(&scene->note, &NoteEditViewModel::asked, this, [this] {
        if (!scene->view.isVisible()) activate();
    });
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

void MainWindow::dropUnused() {
    if (scene && !scene->view.isVisible() && !scene->note.hasUnsavedText()) scene.reset();
}

bool MainWindow::eventFilter(QObject* watched, QEvent* event) {
    if (scene && watched == &scene->view && event->type() == QEvent::Close) {
        lastPlace = scene->view.geometry();
        scene->recorder.stop();
        const bool wasAsking = scene->note.isAsking();
        scene->note.save();
        const bool isAsking = !wasAsking && scene->note.isAsking();
        // Not within the window's own event.
        QMetaObject::invokeMethod(
            this,
            [this, isAsking] {
                dropUnused();
                if (scene && isAsking) activate();
            },
            Qt::QueuedConnection);
    }
    // The shell, or another program, may have changed it meanwhile.
    if (scene && watched == &scene->view && event->type() == QEvent::FocusIn)
        actions.refreshHistory();
    return QObject::eventFilter(watched, event);
}

} // namespace nimbe
