// Shows one state of the interface with stand-ins beneath it, for looking at:
// nimbe-ui-preview STATE [dark]. It stays until it is ended.
#include <QtCore/QTimer>
#include <QtGui/QPainter>
#include <QtGui/QScreen>
#include <QtQuick/QQuickWindow>
#include <QtWidgets/QApplication>
#include <QtWidgets/QWidget>
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <memory>
#include <string_view>

#include "NimbeApp/AppSettings.h"
#include "NimbeUI/DesktopUI.h"
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

void prepare(std::string_view state, UIScene& scene) {
    scene.input.present = {{"usb", "Blue Yeti"}, {"in", "Built-in Audio Analog Stereo"}};
    if (state != "welcome") (void)scene.defaults.set(AppSettings::onboardingCompleted, true);
    if (state != "empty" && state != "welcome") fillHistory(scene.history);
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
        "history", "empty", "settings", "welcome", "banners", "chord", "tray"};
    if (std::find(std::begin(windows), std::end(windows), state) != std::end(windows)) {
        auto services = scene.services();
        services.quit = [] {
            QApplication::quit();
        };
        ui = std::make_unique<DesktopUI>(std::move(services), hud);
        ui->start(state == "tray");
        scene.dictation->start();
    } else {
        shown = hud.present(std::nullopt);
        QTimer::singleShot(50, &hud, [&] { showOverlay(state, below.engine, hud); });
    }
    return QApplication::exec();
}
