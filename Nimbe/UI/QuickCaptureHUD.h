#pragma once

#include <QtCore/QObject>
#include <QtCore/QVariantAnimation>
#include <QtQml/QQmlEngine>
#include <QtQuick/QQuickView>
#include <memory>

#include "Foundation/Log.h"
#include "NimbeApp/CaptureHUD.h"
#include "NimbeUI/CaptureViewModel.h"
#include "NimbeUI/Theme.h"

namespace nimbe {

/// The overlay as a window of Qt Quick: frameless, above the others, without keyboard or
/// pointer. Translucent where the desktop composes windows, else cut to its shape and
/// without fades. Hidden, it has no timers and draws nothing.
///
/// Owns the QML engine and the theme, which all windows of the program share.
class QuickCaptureHUD final : public QObject, public CaptureHUD {
    Q_OBJECT

public:
    /// Lent; all outlive it.
    struct Services {
        DictationEngine& engine;
        UserDefaults& defaults;
        DesktopSurroundings& surroundings;
        LogSink& log;
    };

    /// Needs a QGuiApplication.
    explicit QuickCaptureHUD(Services services);
    ~QuickCaptureHUD() override;

    [[nodiscard]] Token present(const std::optional<RunningApplication::Frame>& target) override;
    void show(Result result) override;

    /// See CaptureViewModel::follow().
    void follow(MacDictationController& controller) { capture.follow(controller); }

    [[nodiscard]] QQmlEngine& qmlEngine() { return engine; }
    [[nodiscard]] Theme& appearance() { return theme; }
    [[nodiscard]] QQuickView& window() { return view; }

private:
    Services services;
    Log log;
    Theme theme;
    CaptureViewModel capture;
    QQmlEngine engine;
    QQuickView view;
    QVariantAnimation fade;
    std::shared_ptr<int> alive = std::make_shared<int>();
    int presentation = 0; // a newer one makes a token stale
    Token compositing;

    void load();
    void place(const std::optional<RunningApplication::Frame>& target);
    void fadeTo(double opacity, Seconds full);
    void fadedOut(int number);
    void takeOpacity(double opacity);
    void reshape();
};

} // namespace nimbe
