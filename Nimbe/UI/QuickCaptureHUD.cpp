#include "NimbeUI/QuickCaptureHUD.h"

#include <QtGui/QCursor>
#include <QtGui/QGuiApplication>
#include <QtGui/QPainterPath>
#include <QtGui/QRegion>
#include <QtGui/QScreen>
#include <QtQml/QQmlContext>
#include <QtQml/QQmlError>
#include <QtQuick/QQuickItem>

#include "NimbeUI/Fonts.h"
#include "NimbeUI/OverlayPlace.h"
#include "NimbeUI/QmlTypes.h"

namespace nimbe {
namespace {

// The pill at its largest, with room for its shadow; it stands on the lower margin.
constexpr QSize windowSize(620, 220);

// Past the window manager: in the frame that it would put around the window clicks end
// (openbox and xfwm4 do not give it the window's empty input shape).
constexpr Qt::WindowFlags overlayFlags =
    Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint | Qt::Tool | Qt::WindowDoesNotAcceptFocus |
    Qt::WindowTransparentForInput | Qt::X11BypassWindowManagerHint | Qt::NoDropShadowWindowHint;

} // namespace

QuickCaptureHUD::QuickCaptureHUD(Services given)
    : services(given), log(given.log, "ui"), theme(given.surroundings, given.defaults),
      capture(given.engine), view(&engine, nullptr) {
    registerFonts(given.log);
    registerQmlTypes();
    view.setFlags(overlayFlags);
    // Read by the toolkit's X11 part; compositors treat it as what it is.
    constexpr int notificationType = 0x800;
    view.setProperty("_q_xcb_wm_window_type", notificationType);
    view.setColor(Qt::transparent);
    view.setTitle(QStringLiteral("Nimbe Overlay"));
    view.setResizeMode(QQuickView::SizeRootObjectToView);
    view.resize(windowSize);
    connect(&fade, &QVariantAnimation::valueChanged, this,
        [this](const QVariant& value) { takeOpacity(value.toDouble()); });
    connect(&fade, &QVariantAnimation::finished, this, [this] {
        if (fade.endValue().toDouble() <= 0) view.hide();
    });
    // Some window managers put what comes forward above windows that they do not manage.
    connect(&capture, &CaptureViewModel::changed, &view, [this] {
        if (view.isVisible()) view.raise();
    });
    compositing = given.surroundings._isComposited.observe([this](bool) { reshape(); });
    load();
}

QuickCaptureHUD::~QuickCaptureHUD() {
    fade.stop();
}

void QuickCaptureHUD::load() {
    engine.rootContext()->setContextProperty("theme", &theme); // of the small controls
    view.setInitialProperties(
        {{"capture", QVariant::fromValue(&capture)}, {"theme", QVariant::fromValue(&theme)}});
    view.setSource(QUrl("qrc:/nimbe/qml/Overlay.qml"));
    for (const auto& error : view.errors())
        log.error("ui: the overlay's scene, line %d: %s", error.line(),
            qUtf8Printable(error.description()));
    auto* pill = view.rootObject() ? view.rootObject()->findChild<QQuickItem*>("pill") : nullptr;
    if (!pill) return;
    view.rootObject()->setOpacity(0);
    connect(pill, &QQuickItem::widthChanged, this, &QuickCaptureHUD::reshape);
    connect(pill, &QQuickItem::heightChanged, this, &QuickCaptureHUD::reshape);
    reshape();
}

Token QuickCaptureHUD::present(const std::optional<RunningApplication::Frame>& target) {
    const int number = ++presentation;
    capture.begin();
    theme.refresh();
    if (view.rootObject()) {
        place(target);
        reshape();
        view.show();
        fadeTo(1, fadeIn);
    }
    const std::weak_ptr<int> weak = alive;
    return Token(std::shared_ptr<void>(nullptr, [this, weak, number](void*) {
        if (!weak.expired()) fadedOut(number);
    }));
}

void QuickCaptureHUD::show(Result result) {
    capture.show(std::move(result));
}

void QuickCaptureHUD::fadedOut(int number) {
    if (number != presentation) return;
    capture.end();
    fadeTo(0, fadeOut);
}

void QuickCaptureHUD::place(const std::optional<RunningApplication::Frame>& target) {
    const auto screens = QGuiApplication::screens();
    if (screens.empty()) return;
    std::vector<ScreenArea> areas;
    for (const auto* screen : screens)
        areas.push_back(
            {screen->geometry(), screen->availableGeometry(), screen->devicePixelRatio()});
    const auto index = OverlayPlace::screen(areas, target, QCursor::pos());
    auto* screen = screens[static_cast<qsizetype>(index)];
    if (view.screen() != screen) view.setScreen(screen);
    view.setGeometry(OverlayPlace::geometry(areas[index], windowSize));
}

/// What is left of a fade takes its part of the full time.
void QuickCaptureHUD::fadeTo(double opacity, Seconds full) {
    if (!view.rootObject()) return;
    fade.stop();
    const double from = view.rootObject()->opacity();
    if (theme.reducesMotion() || !services.surroundings._isComposited.get()) {
        takeOpacity(opacity);
        if (opacity <= 0) view.hide();
        return;
    }
    fade.setStartValue(from);
    fade.setEndValue(opacity);
    fade.setDuration(static_cast<int>(full * 1000 * qAbs(opacity - from)));
    fade.setEasingCurve(opacity > from ? QEasingCurve::OutCubic : QEasingCurve::InQuad);
    fade.start();
}

void QuickCaptureHUD::takeOpacity(double opacity) {
    view.rootObject()->setOpacity(opacity);
}

/// Without a compositor nothing is translucent: the window has the pill's shape.
void QuickCaptureHUD::reshape() {
    auto* root = view.rootObject();
    auto* pill = root ? root->findChild<QQuickItem*>("pill") : nullptr;
    if (!pill) return;
    const bool isComposited = services.surroundings._isComposited.get();
    root->setProperty("translucent", isComposited);
    if (isComposited) {
        view.setMask(QRegion());
        return;
    }
    QPainterPath outline;
    const qreal radius = pill->property("radius").toReal();
    outline.addRoundedRect(
        QRectF(pill->x(), pill->y(), pill->width(), pill->height()), radius, radius);
    view.setMask(QRegion(outline.toFillPolygon().toPolygon()));
}

} // namespace nimbe
