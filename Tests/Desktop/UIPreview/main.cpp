// Shows one state of the interface with stand-ins beneath it, for looking at:
// nimbe-ui-preview STATE [dark]. It stays until it is ended.
#include <QtCore/QTimer>
#include <QtGui/QPainter>
#include <QtGui/QScreen>
#include <QtQuick/QQuickItem>
#include <QtQuick/QQuickView>
#include <QtWidgets/QApplication>
#include <QtWidgets/QWidget>
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <memory>
#include <string_view>

#include "NimbeApp/AppSettings.h"
#include "NimbeUI/DesktopUI.h"
#include "NimbeUI/QtText.h"
#include "PlatformQt/QtMainActor.h"
#include "PlatformQt/QtSurroundings.h"
#include "PlatformQt/XkbKeyNames.h"
#include "UIScene.h"

namespace nimbe {
namespace {

std::vector<double> voice() {
    std::vector<double> levels;
    for (int i = 0; i < 100; ++i) {
        const double syllable = std::abs(std::sin(i * 0.31) * std::sin(i * 0.083 + 0.6));
        levels.push_back(0.3 + 0.62 * syllable);
    }
    return levels;
}

/// In place of a desktop's picture.
class Backdrop final : public QWidget {
public:
    explicit Backdrop(bool isDark) : isDark(isDark) {
        setAttribute(Qt::WA_X11NetWmWindowTypeDesktop);
        setWindowTitle("Backdrop");
        setGeometry(screen()->geometry());
    }

protected:
    void paintEvent(QPaintEvent* /*event*/) override {
        QPainter painter(this);
        QLinearGradient sky(0, 0, width(), height());
        sky.setColorAt(0, isDark ? QColor("#33414f") : QColor("#e7edf1"));
        sky.setColorAt(1, isDark ? QColor("#12171d") : QColor("#b7c6b9"));
        painter.fillRect(QRect(QPoint(), size()), sky);
    }

private:
    bool isDark;
};

void showOverlay(std::string_view state, DictationEngine& engine, CaptureHUD& hud) {
    const std::string shortText = "The quiet part of the morning is the best one";
    const std::string longText =
        "There was nobody in the house who could have told her what the letter said, and so "
        "she carried it with her through the garden, down to the gate, and out into the lane, "
        "where the postman had stopped to look at the swallows on the wire. She opened it there.";
    if (state == "preparing") return;
    if (state == "download") {
        engine._prepProgress.set(0.43);
        return;
    }
    engine._levels.set(voice());
    if (state == "recording") return;
    if (state == "text") engine._liveTranscript.set(shortText);
    if (state == "long") engine._liveTranscript.set(longText);
    if (state == "emoji")
        engine._liveTranscript.set(
            "Zoë says 👩‍👩‍👧‍👦 שלום עולם and 🇩🇪 then مرحبا "
            "بالعالم to all");
    if (state == "success") hud.show({CaptureHUD::Symbol::success, "Pasted into Text Editor"});
    if (state == "problem")
        hud.show({CaptureHUD::Symbol::problem, "I didn't hear anything. Try again."});
    if (state == "note")
        hud.show({CaptureHUD::Symbol::problem, "Pasted into Text Editor",
            "Not saved in your history. The keyring is locked."});
}

void fillHistory(DictationHistory& history) {
    const Date now = Date::now();
    const std::pair<double, const char*> said[] = {
        {3.2 * 86400, "Dear Ms. Öztürk, thank you for the quick reply. I will bring the signed "
                      "copies on Thursday and leave them at the front desk."},
        {1.3 * 86400, "Remember to water the tomatoes."},
        {1.1 * 86400, "The quiet part of the morning is the best one, before the telephones begin "
                      "and before anybody has had time to think of something that cannot wait. I "
                      "open the window, and the whole street smells of bread. After that the day "
                      "belongs to the others, and I do what they ask, mostly without minding it."},
        {9000, "Shall we move the call to half past three? I am still on the train."},
        {4000, "Oat milk, two lemons, the good coffee, and something sweet for Ada’s birthday."},
        {600, "I have read your draft twice. The second chapter is wonderful; the first one could "
              "lose its opening page, since everything it says is said again, and better, later "
              "on."}};
    for (const auto& [ago, text] : said)
        (void)history.append(text, DictationMode::notes, now - ago);
}

constexpr std::array noteStates{std::string_view("note"), std::string_view("note-long"),
    std::string_view("note-working"), std::string_view("note-notice"),
    std::string_view("note-question"), std::string_view("note-undo"),
    std::string_view("note-nomodel")};

bool isNote(std::string_view state) {
    return std::find(noteStates.begin(), noteStates.end(), state) != noteStates.end();
}

void prepareModel(std::string_view state, UIScene& scene) {
    using Kind = LanguageModel::Availability::Kind;
    const bool isThere = state != "note-nomodel" && state != "settings-nomodel";
    scene.model.published.set(
        isThere ? LanguageModel::Availability{Kind::available, "http://127.0.0.1:11434", "Ollama",
                      "llama3.2:3b", {"llama3.2:3b", "qwen2.5:7b-instruct"}}
                : LanguageModel::Availability{Kind::noServer});
    const std::string reshaped =
        "- Read your draft twice\n- Second chapter: wonderful\n- First chapter: drop the opening "
        "page, it is said again later, and better";
    using Answer = FakeTransformProvider::Answer;
    if (state == "note-working")
        scene.transforms.answers.push_back(
            Answer{TransformProvider::Outcome{}, {{reshaped.substr(0, 60)}}, true});
    if (state == "note-notice")
        scene.transforms.answers.push_back(
            Answer{failure(LanguageModelError{LanguageModelError::Kind::timedOut})});
    if (state == "note-undo")
        scene.transforms.answers.push_back(Answer{TransformProvider::Outcome{reshaped}});
}

/// Of the window; null where none is shown.
QQuickItem* rootItem() {
    const auto windows = QGuiApplication::allWindows();
    const auto found = std::find_if(
        windows.begin(), windows.end(), [](const auto* each) { return each->title() == "Nimbe"; });
    return found == windows.end() ? nullptr : qobject_cast<QQuickView*>(*found)->rootObject();
}

void showPage(const char* page) {
    const auto* root = rootItem();
    if (!root) return;
    auto* window = root->property("model").value<QObject*>();
    QMetaObject::invokeMethod(window, "showPage", Q_ARG(QString, page));
}

/// Into the editor with the newest note, as a user would go there.
void openNote(std::string_view state, UIScene& scene) {
    const auto* root = rootItem();
    if (!root) return;
    auto* note = root->property("note").value<QObject*>();
    const auto newest = scene.history.entries().front();
    QMetaObject::invokeMethod(note, "open", Q_ARG(QString, qtText(newest.id.text())));
    showPage("note");
    if (state == "note-working" || state == "note-notice" || state == "note-undo")
        QMetaObject::invokeMethod(note, "start", Q_ARG(int, 1));
}

void prepare(std::string_view state, UIScene& scene) {
    prepareModel(state, scene);
    scene.input.present = {{"usb", "Blue Yeti"}, {"in", "Built-in Audio Analog Stereo"}};
    if (state != "welcome") (void)scene.defaults.set(AppSettings::onboardingCompleted, true);
    if (state != "empty" && state != "welcome") fillHistory(scene.history);
    if (state == "note-long") {
        std::string text;
        for (int i = 0; i < 30; ++i) text += scene.history.entries().back().text + "\n";
        (void)scene.history.append(text, DictationMode::notes, Date::now());
    }
    if (state == "chord")
        (void)scene.shortcuts.record(
            MacDictationController::shortcutName, *Shortcut::parse("Ctrl+Alt+d"));
    if (state == "banners") {
        scene.crashes._assessment.set({true, 2, true});
        scene.updates->_available.set(UpdateManifest{"1.4", "140"});
    }
}

} // namespace
} // namespace nimbe

int main(int argc, char** argv) {
    using namespace nimbe;
    prepareDesktopUI();
    const QApplication application(argc, argv);
    const std::string_view state = argc > 1 ? argv[1] : "recording";
    const bool isDark = argc > 2 && std::string_view(argv[2]) == "dark";

    Backdrop backdrop(isDark);
    if (argc <= 2 || std::string_view(argv[2]) != "nobackdrop") backdrop.show();
    QtMainActor actor;
    EngineScene below(actor);
    StandardErrorLog log(LogLevel::debug);
    const QtSurroundings watching(below.surroundings);
    below.surroundings._prefersDark.set(isDark);
    QuickCaptureHUD hud({below.engine, below.defaults, below.surroundings, log});
    UIScene scene(below, hud);
    prepare(state, scene);
    std::unique_ptr<DesktopUI> ui;
    Token shown;
    constexpr std::string_view windows[] = {
        "history", "empty", "settings", "settings-nomodel", "welcome", "banners", "chord", "tray"};
    if (isNote(state) ||
        std::find(std::begin(windows), std::end(windows), state) != std::end(windows)) {
        auto services = scene.services();
        services.quit = [] {
            QApplication::quit();
        };
        ui = std::make_unique<DesktopUI>(std::move(services), hud);
        ui->start(state == "tray");
        scene.dictation->start();
        if (state.starts_with("settings") || state == "chord")
            QTimer::singleShot(50, &hud, [] { showPage("settings"); });
        if (isNote(state))
            QTimer::singleShot(50, &hud, [&] {
                openNote(state, scene);
                if (state != "note-question") return;
                scene.history.deleteEntry(scene.history.entries().front().id, Date::now());
                ui->refreshHistory();
            });
    } else {
        shown = hud.present(std::nullopt);
        QTimer::singleShot(50, &hud, [&] { showOverlay(state, below.engine, hud); });
    }
    return QApplication::exec();
}
