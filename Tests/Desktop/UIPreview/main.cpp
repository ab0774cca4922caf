// Shows one state of the interface with stand-ins beneath it, for looking at:
// nimbe-ui-preview STATE [dark]. It stays until it is ended.
#include <QtCore/QTimer>
#include <QtGui/QPainter>
#include <QtGui/QScreen>
#include <QtQuick/QQuickWindow>
#include <QtWidgets/QApplication>
#include <QtWidgets/QWidget>
#include <cmath>
#include <cstdio>
#include <map>
#include <string_view>

#include "Fakes/FakeAudioConverters.h"
#include "Fakes/FakeAudioInput.h"
#include "Fakes/FakeLogSink.h"
#include "Fakes/FakeSpeechAssets.h"
#include "Fakes/FakeTranscriptionEngine.h"
#include "Fakes/MemoryUserDefaults.h"
#include "NimbeUI/QuickCaptureHUD.h"
#include "PlatformQt/QtMainActor.h"
#include "PlatformQt/QtSurroundings.h"

namespace nimbe {
namespace {

struct Stage {
    QtMainActor actor;
    StandardErrorLog log{LogLevel::debug};
    MemoryUserDefaults defaults;
    DesktopSurroundings surroundings;
    QtSurroundings watching{surroundings};
    FakeAudioInput input;
    FakeAudioConverters converters;
    AudioCapture capture{input, converters, defaults, log};
    FakeTranscriptionEngine recognizer{actor};
    FakeSpeechAssets assets;
    DictationEngine engine{actor, capture, recognizer, assets, log};
};

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

void showOverlay(std::string_view state, Stage& stage, CaptureHUD& hud) {
    const std::string shortText = "The quiet part of the morning is the best one";
    const std::string longText =
        "There was nobody in the house who could have told her what the letter said, and so "
        "she carried it with her through the garden, down to the gate, and out into the lane, "
        "where the postman had stopped to look at the swallows on the wire. She opened it there.";
    if (state == "preparing") return;
    if (state == "download") {
        stage.engine._prepProgress.set(0.43);
        return;
    }
    stage.engine._levels.set(voice());
    if (state == "recording") return;
    if (state == "text") stage.engine._liveTranscript.set(shortText);
    if (state == "long") stage.engine._liveTranscript.set(longText);
    if (state == "emoji")
        stage.engine._liveTranscript.set("Zoë says 👩‍👩‍👧‍👦 שלום עולם and 🇩🇪 then مرحبا "
                                         "بالعالم to all");
    if (state == "success") hud.show({CaptureHUD::Symbol::success, "Pasted into Text Editor"});
    if (state == "problem")
        hud.show({CaptureHUD::Symbol::problem, "I didn't hear anything. Try again."});
    if (state == "note")
        hud.show({CaptureHUD::Symbol::problem, "Pasted into Text Editor",
            "Not saved in your history. The keyring is locked."});
}

} // namespace
} // namespace nimbe

int main(int argc, char** argv) {
    using namespace nimbe;
    QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
    const QApplication application(argc, argv);
    const std::string_view state = argc > 1 ? argv[1] : "recording";
    const bool isDark = argc > 2 && std::string_view(argv[2]) == "dark";

    Backdrop backdrop(isDark);
    backdrop.show();
    Stage stage;
    stage.surroundings._prefersDark.set(isDark);
    QuickCaptureHUD hud({stage.engine, stage.defaults, stage.surroundings, stage.log});
    const Token shown = hud.present(std::nullopt);
    QTimer::singleShot(50, [&] { showOverlay(state, stage, hud); });
    return QApplication::exec();
}
