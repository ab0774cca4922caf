#include <QtCore/QAbstractEventDispatcher>
#include <QtCore/QProcess>
#include <QtGui/QMouseEvent>
#include <QtGui/QScreen>
#include <QtQuick/QQuickItem>
#include <QtWidgets/QWidget>

#include <gtest/gtest.h>

#include "DesktopApplication.h"
#include "PlatformQt/QtMainActor.h"
#include "PlatformQt/QtSurroundings.h"
#include "QtPatience.h"
#include "UIScene.h"
#include "XServerEyes.h"

namespace nimbe {
namespace {

/// All of a screen, in one colour, counting clicks.
class Ground final : public QWidget {
public:
    int clicks = 0;

    Ground() {
        setAttribute(Qt::WA_X11NetWmWindowTypeDesktop);
        setPalette(QColor("#204080"));
        setGeometry(QGuiApplication::primaryScreen()->geometry());
        show();
    }

protected:
    void mousePressEvent(QMouseEvent* /*event*/) override { ++clicks; }
};

struct OverlayTest : testing::Test {
    QtMainActor actor;
    EngineScene below{actor};
    QtSurroundings watching{below.surroundings};
    QuickCaptureHUD hud{{below.engine, below.defaults, below.surroundings, below.log}};
    XServerEyes eyes;
    const bool isComposited = below.surroundings._isComposited.get();

    OverlayTest() { below.surroundings._prefersDark.set(false); }
    ~OverlayTest() override { EXPECT_TRUE(below.log.lines.empty()) << below.log.all(); }

    [[nodiscard]] double opacity() {
        return hud.window().isVisible() ? hud.window().rootObject()->opacity() : 0;
    }
    [[nodiscard]] bool isShown() { return hud.window().isExposed() && opacity() >= 1; }
    [[nodiscard]] QQuickItem& pill() {
        return *hud.window().rootObject()->findChild<QQuickItem*>("pill");
    }
    /// In native pixels, of all screens.
    [[nodiscard]] QRect pillOnScreen() {
        const auto* screen = hud.window().screen();
        const auto origin = screen->geometry().topLeft();
        const auto scale = screen->devicePixelRatio();
        const auto at = hud.window().position() - origin;
        return {origin + QPoint(static_cast<int>((at.x() + pill().x()) * scale),
                             static_cast<int>((at.y() + pill().y()) * scale)),
            (QSizeF(pill().width(), pill().height()) * scale).toSize()};
    }
};

constexpr RunningApplication::Frame onGround{100, 100, 400, 300};

QRect native(const QScreen& screen) {
    return {screen.geometry().topLeft(),
        (QSizeF(screen.geometry().size()) * screen.devicePixelRatio()).toSize()};
}

} // namespace

TEST_F(OverlayTest, neverTakesTheKeyboard) {
    QProcess terminal;
    terminal.start("xterm", {"-e", "cat"});
    ASSERT_TRUE(until([&] {
        const auto active = eyes.activeWindow();
        return terminal.processId() > 0 &&
               eyes.processOf(active) == static_cast<std::uint32_t>(terminal.processId());
    }));
    const auto active = eyes.activeWindow();
    const auto focus = eyes.inputFocus();
    const auto isKept = [&] {
        return eyes.activeWindow() == active && eyes.inputFocus() == focus;
    };
    bool wasKept = true;
    Token shown = hud.present(std::nullopt);
    EXPECT_TRUE(until([&] {
        wasKept = wasKept && isKept();
        return isShown();
    }));
    below.engine._liveTranscript.set("It grows with the words that are said.");
    hud.show({CaptureHUD::Symbol::success, "Pasted"});
    EXPECT_TRUE(throughout(200, isKept));
    shown.reset();
    EXPECT_TRUE(until([&] {
        wasKept = wasKept && isKept();
        return !hud.window().isVisible();
    }));
    EXPECT_TRUE(wasKept && throughout(100, isKept));
    terminal.kill();
    terminal.waitForFinished();
}

TEST_F(OverlayTest, clicksGoThrough) {
    Ground ground;
    ASSERT_TRUE(until([&] { return ground.isVisible() && ground.windowHandle()->isExposed(); }));
    const Token shown = hud.present(onGround);
    ASSERT_TRUE(until([&] { return isShown(); }));
    const auto centre = pillOnScreen().center();
    eyes.click(centre.x(), centre.y());
    EXPECT_TRUE(until([&] { return ground.clicks == 1; }));
    EXPECT_TRUE(isShown());
}

TEST_F(OverlayTest, saysItsResultAboveAFullscreenWindowThatCameForward) {
    const Token shown = hud.present(onGround);
    ASSERT_TRUE(until([&] { return isShown(); }));
    QWidget film;
    film.setPalette(QColor("#204080"));
    film.setGeometry(300, 100, 300, 200);
    film.showFullScreen();
    film.activateWindow();
    const auto colour = [&](QPoint at) {
        return QColor(hud.window().screen()->grabWindow(0).toImage().pixel(at));
    };
    ASSERT_TRUE(until([&] { return colour({20, 20}) == QColor("#204080"); }));
    EXPECT_TRUE(throughout(200, [&] { return true; }));
    hud.show({CaptureHUD::Symbol::success, "Pasted"});
    EXPECT_TRUE(
        until([&] { return colour(pillOnScreen().center() - QPoint(0, 20)).lightness() > 180; }));
    EXPECT_TRUE(throughout(200, [&] { return film.isActiveWindow(); })) << "with the keyboard";
}

TEST_F(OverlayTest, standsOnTheScreenOfTheTarget) {
    const auto screens = QGuiApplication::screens();
    ASSERT_EQ(screens.size(), 2);
    for (auto* screen : {screens[1], screens[0], screens[1]}) {
        const auto area = native(*screen);
        const Token shown =
            hud.present(RunningApplication::Frame{area.x() + 300, area.y() + 200, 400, 300});
        ASSERT_TRUE(until([&] { return isShown(); }));
        ASSERT_TRUE(until([&] { return area.contains(pillOnScreen()); }))
            << pillOnScreen().x() << " " << pillOnScreen().y();
        EXPECT_NEAR(pillOnScreen().center().x(), area.center().x(), 3);
        EXPECT_GT(pillOnScreen().top(), area.center().y());
        EXPECT_EQ(hud.window().screen(), screen);
    }
    // Where it is drawn, and not only where the toolkit believes it is.
    const Token shown = hud.present(std::nullopt);
    ASSERT_TRUE(until([&] { return isShown(); }));
    const auto area = native(*hud.window().screen());
    const auto centre = pillOnScreen().center();
    EXPECT_TRUE(until([&] {
        const auto picture = hud.window().screen()->grabWindow(0).toImage();
        const auto at = centre - area.topLeft();
        return picture.rect().contains(at) && qGray(picture.pixel(at)) > 180;
    }));
}

TEST_F(OverlayTest, fadesOnlyWhereItCan) {
    const Token shown = hud.present(std::nullopt);
    EXPECT_EQ(opacity() < 1, isComposited);
    EXPECT_TRUE(until([&] { return isShown(); }));
}

TEST_F(OverlayTest, comesAndGoesAtOnceForThoseWhoWantNoMotion) {
    below.surroundings._reducesMotion.set(true);
    Token shown = hud.present(std::nullopt);
    EXPECT_EQ(opacity(), 1);
    shown.reset();
    EXPECT_FALSE(hud.window().isVisible());
}

TEST_F(OverlayTest, presentedAnewItStays) {
    Token first = hud.present(std::nullopt);
    ASSERT_TRUE(until([&] { return isShown(); }));
    first.reset();
    ASSERT_TRUE(until([&] { return opacity() < 0.8; })) << "at once, or on its way";
    Token second = hud.present(std::nullopt);
    ASSERT_TRUE(until([&] { return isShown(); }));
    EXPECT_TRUE(throughout(400, [&] { return opacity() > 0; }));
    EXPECT_TRUE(until([&] { return isShown(); }));

    Token third = hud.present(std::nullopt);
    second.reset(); // of a presentation that is over
    EXPECT_TRUE(throughout(300, [&] { return opacity() >= 1; }));
    third.reset();
    EXPECT_TRUE(until([&] { return !hud.window().isVisible(); }));
}

TEST_F(OverlayTest, isWellShapedWhateverComposesTheWindows) {
    if (isComposited) GTEST_SKIP() << "its compositor is its own";
    Ground ground;
    const Token shown = hud.present(onGround);
    ASSERT_TRUE(until([&] { return isShown(); }));
    const auto isGround = [&](QPoint point) {
        const auto picture = hud.window().screen()->grabWindow(0).toImage();
        return QColor(picture.pixel(point - hud.window().screen()->geometry().topLeft())) ==
               QColor("#204080");
    };
    const auto corner = [&] {
        return pillOnScreen().topLeft() + QPoint(1, 1);
    };
    EXPECT_TRUE(until([&] { return isGround(corner()); })) << "no black beside the round corner";
    EXPECT_FALSE(isGround(pillOnScreen().center()));

    QProcess compositor;
    compositor.start("picom", {"--config", "/dev/null", "--backend", "xrender"});
    ASSERT_TRUE(until([&] { return below.surroundings._isComposited.get(); }));
    EXPECT_TRUE(hud.window().mask().isEmpty());
    compositor.terminate();
    compositor.waitForFinished();
    ASSERT_TRUE(until([&] { return !below.surroundings._isComposited.get(); }));
    EXPECT_FALSE(hud.window().mask().isEmpty());
    EXPECT_TRUE(until([&] { return isGround(corner()); }));
}

TEST_F(OverlayTest, sleepsWhenItIsHidden) {
    Token shown = hud.present(std::nullopt);
    ASSERT_TRUE(until([&] { return isShown(); }));
    below.engine._levels.set({0.5, 0.7});
    shown.reset();
    ASSERT_TRUE(until([&] { return !hud.window().isVisible(); }));
    EXPECT_TRUE(throughout(200, [] { return true; }));
    int wakeUps = 0;
    QObject::connect(QAbstractEventDispatcher::instance(), &QAbstractEventDispatcher::awake, &hud,
        [&] { ++wakeUps; });
    below.engine._levels.set({0.5, 0.7, 0.9});
    below.engine._liveTranscript.set("Nobody sees this.");
    const Token end = actor.schedule(1, [] { QCoreApplication::exit(); });
    QCoreApplication::exec();
    EXPECT_LT(wakeUps, 8) << "in a second; its own end is among them";
}

} // namespace nimbe
