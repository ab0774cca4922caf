#include <QtQuick/QQuickItem>
#include <QtQuick/QQuickView>
#include <QtTest/QTest>

#include <gtest/gtest.h>

#include "DesktopApplication.h"
#include "NimbeApp/AppSettings.h"
#include "PlatformQt/QtMainActor.h"
#include "PlatformQt/QtSurroundings.h"
#include "PlatformQt/XkbKeyNames.h"
#include "QtPatience.h"
#include "UIScene.h"

namespace nimbe {
namespace {

struct WindowTest : testing::Test {
    QtMainActor actor;
    EngineScene below{actor};
    QtSurroundings watching{below.surroundings};
    QuickCaptureHUD hud{{below.engine, below.defaults, below.surroundings, below.log}};
    UIScene scene{below, hud};
    XkbKeyNames keys;
    std::unique_ptr<DesktopUI> ui;

    ~WindowTest() override {
        ui.reset();
        EXPECT_FALSE(scene.log.has(LogLevel::error, "")) << scene.log.all();
    }
    void start(bool isHidden, bool isFirstRun = false) {
        if (!isFirstRun) (void)below.defaults.set(AppSettings::onboardingCompleted, true);
        auto services = scene.services();
        ui = std::make_unique<DesktopUI>(std::move(services), hud);
        ui->start(isHidden);
    }
    [[nodiscard]] static QQuickView* window() {
        for (auto* each : QGuiApplication::allWindows())
            if (each->title() == "Nimbe") return qobject_cast<QQuickView*>(each);
        return nullptr;
    }
    [[nodiscard]] static bool isShown() { return window() && window()->isExposed(); }
    [[nodiscard]] static QString page() {
        return window()
            ->rootObject()
            ->property("model")
            .value<QObject*>()
            ->property("page")
            .toString();
    }
    [[nodiscard]] static bool isModelWatched() {
        auto* model = window()->rootObject()->property("languageModel").value<QObject*>();
        return model->property("isWatched").toBool();
    }
    /// By its accessible name's text.
    [[nodiscard]] static QQuickItem* find(
        const QString& text, QQuickItem* from = nullptr, const char* property = "text") {
        if (!from) from = window()->rootObject();
        if (from->property(property).toString() == text && from->isVisible()) return from;
        for (auto* child : from->childItems())
            if (auto* found = find(text, child, property)) return found;
        return nullptr;
    }
    static void press(Qt::Key key, Qt::KeyboardModifiers modifiers = Qt::NoModifier) {
        QTest::keyClick(window(), key, modifiers);
    }
};

} // namespace

TEST_F(WindowTest, hiddenItComesWhenAskedForAndGoesWithItsScene) {
    start(true);
    EXPECT_TRUE(throughout(200, [] { return !window(); }));
    ui->activate();
    ASSERT_TRUE(until([] { return isShown() && window()->isActive(); }));
    ui->activate();
    press(Qt::Key_W, Qt::ControlModifier);
    EXPECT_TRUE(until([] { return !window(); })) << "it takes its memory with it";
    ui->activate();
    EXPECT_TRUE(until([] { return isShown(); }));
    EXPECT_EQ(scene.quits, 0);
}

TEST_F(WindowTest, theFirstRunIsSeenAlsoWhenStartedHidden) {
    start(true, true);
    ASSERT_TRUE(until([] { return isShown(); }));
    EXPECT_EQ(page(), "welcome");
    ASSERT_TRUE(until([] { return window()->activeFocusItem() != nullptr; }));
    press(Qt::Key_A); // into the field
    press(Qt::Key_Tab);
    press(Qt::Key_Return);
    EXPECT_TRUE(until([] { return page() == "history"; })) << "by the keyboard alone";
    EXPECT_TRUE(below.defaults.get(AppSettings::onboardingCompleted));
}

TEST_F(WindowTest, aChordIsRecordedWithTheKeyboardOnly) {
    start(false);
    ASSERT_TRUE(until([] { return isShown() && window()->isActive(); }));
    press(Qt::Key_Comma, Qt::ControlModifier);
    ASSERT_TRUE(until([] { return page() == "settings" && find("Record a chord"); }));
    auto* button = find("Record a chord");
    button->forceActiveFocus(Qt::TabFocusReason);
    press(Qt::Key_Space);
    ASSERT_TRUE(until([] { return find("Press a chord…") != nullptr; }));
    press(Qt::Key_Return);
    EXPECT_TRUE(find("Press a chord…")) << "this key is for the chord";
    // A key code belongs to it, as the server would send it: of the key that gives "d".
    QKeyEvent chord(QEvent::KeyPress, Qt::Key_D, Qt::ControlModifier | Qt::AltModifier, 40, 0, 0);
    scene.keyNames.names[40] = keys.name(40).value_or("none");
    QCoreApplication::sendEvent(window(), &chord);
    ASSERT_TRUE(until([] { return find("Ctrl + Alt + D") != nullptr; }));
    EXPECT_EQ(scene.shortcuts.shortcut(MacDictationController::shortcutName)->text(), "Ctrl+Alt+d");
    press(Qt::Key_Escape);
    EXPECT_TRUE(until([] { return page() == "history"; }));
}

TEST_F(WindowTest, theSettingsFollowTheKeyboardThereAndBack) {
    start(false);
    ASSERT_TRUE(until([] { return isShown() && window()->isActive(); }));
    press(Qt::Key_Comma, Qt::ControlModifier);
    ASSERT_TRUE(until([] { return page() == "settings" && find("Record a chord"); }));
    auto* const first = find("Record a chord");
    for (const auto key : {Qt::Key_Tab, Qt::Key_Backtab}) {
        first->forceActiveFocus(Qt::TabFocusReason);
        int stops = 0;
        do {
            press(key);
            const auto* const item = window()->activeFocusItem();
            const auto top = item->mapToScene({0, 0}).y();
            EXPECT_TRUE(top >= 0 && top + item->height() <= window()->height())
                << stops << " at " << top;
        } while (window()->activeFocusItem() != first && ++stops < 40);
        EXPECT_GT(stops, 10);
        EXPECT_LT(stops, 40);
    }
}

TEST_F(WindowTest, onlyWhatHasMoreToShowIsOpenedFurther) {
    std::string text;
    for (int i = 0; i < 40; ++i) text += "Bread and butter. ";
    (void)scene.history.append(text, DictationMode::notes, Date::now() - 90);
    (void)scene.history.append("Bread.", DictationMode::notes, Date::now() - 60);
    start(false);
    ASSERT_TRUE(until([] { return isShown() && window()->isActive() && find("Show all"); }));
    press(Qt::Key_Space); // on the short one, the newest
    EXPECT_FALSE(find("Show less"));
    press(Qt::Key_Down);
    press(Qt::Key_Space);
    EXPECT_TRUE(until([] { return find("Show less") && !find("Show all"); }));
}

TEST_F(WindowTest, searchesCopiesAndDeletesWithTheKeyboard) {
    (void)scene.history.append("Bread and butter.", DictationMode::notes, Date::now() - 60);
    (void)scene.history.append("Something else.", DictationMode::notes, Date::now() - 30);
    start(false);
    ASSERT_TRUE(until([] { return isShown() && find("Bread and butter."); }));
    press(Qt::Key_F, Qt::ControlModifier);
    for (const auto key : {Qt::Key_B, Qt::Key_R, Qt::Key_E}) press(key);
    ASSERT_TRUE(until([] { return !find("Something else."); }));
    press(Qt::Key_Down);
    press(Qt::Key_C, Qt::ControlModifier);
    EXPECT_TRUE(until([&] { return scene.pasteboard.paste() == "Bread and butter."; }));
    press(Qt::Key_Delete);
    EXPECT_TRUE(until([] { return find("Moved to Recently Deleted.") && find("Nothing found"); }));
    EXPECT_EQ(scene.history.entries().size(), 1U);
}

TEST_F(WindowTest, aNoteIsEditedAndReshapedWithTheKeyboardOnly) {
    (void)scene.history.append("Tea", DictationMode::notes, Date::now() - 60);
    using Answer = FakeTransformProvider::Answer;
    scene.transforms.answers.push_back(Answer{TransformProvider::Outcome{"Tea.\n\nTwo."}, {{"T"}}});
    scene.transforms.answers.push_back(Answer{TransformProvider::Outcome{}, {{"Half"}}, true});
    start(false);
    ASSERT_TRUE(until([] { return isShown() && window()->isActive() && find("Tea"); }));
    press(Qt::Key_F, Qt::ControlModifier);
    press(Qt::Key_Down);
    press(Qt::Key_Return);
    ASSERT_TRUE(until([] { return page() == "note" && find("Fix"); }));
    press(Qt::Key_S);
    press(Qt::Key_Tab); // out of the text
    press(Qt::Key_Tab);
    press(Qt::Key_Space);
    ASSERT_TRUE(until([] { return find("Tea.\n\nTwo.") != nullptr; }));
    EXPECT_EQ(scene.transforms.given[0].second, "Teas");

    find("Reshape it: make it …", nullptr, "placeholderText")->forceActiveFocus();
    for (const auto key : {Qt::Key_R, Qt::Key_E, Qt::Key_D}) press(key);
    press(Qt::Key_Return);
    ASSERT_TRUE(until([] { return find("Half") && find("Cancel"); }));
    EXPECT_EQ(scene.transforms.given[1].first, NoteTransform(CustomTransform{"red"}));
    press(Qt::Key_Escape);
    ASSERT_TRUE(until([] { return find("Tea.\n\nTwo.") && !find("Cancel"); }));
    EXPECT_EQ(page(), "note");

    find("Tea.\n\nTwo.")->forceActiveFocus();
    press(Qt::Key_Z, Qt::ControlModifier); // the given up one
    press(Qt::Key_Z, Qt::ControlModifier); // the first one, in one step
    EXPECT_TRUE(until([] { return find("Teas") != nullptr; }));
    press(Qt::Key_Escape);
    EXPECT_TRUE(until([] { return page() == "history" && find("Saved.") && find("Teas"); }));
    EXPECT_EQ(scene.history.entries()[0].text, "Teas");
    press(Qt::Key_Return);
    EXPECT_TRUE(until([] { return page() == "note"; })) << "the list has kept its place";
}

TEST_F(WindowTest, closingStoresTheNoteOrComesBackWithIt) {
    (void)scene.history.append("Tea", DictationMode::notes, Date::now() - 60);
    start(false);
    const auto edit = [&] {
        ASSERT_TRUE(until([] { return isShown() && window()->isActive() && find("Edit"); }));
        press(Qt::Key_F, Qt::ControlModifier);
        press(Qt::Key_Down);
        press(Qt::Key_Return);
        ASSERT_TRUE(until([] { return page() == "note"; }));
        press(Qt::Key_S);
        press(Qt::Key_W, Qt::ControlModifier);
    };
    edit();
    ASSERT_TRUE(until([] { return !window(); }));
    EXPECT_EQ(scene.history.entries()[0].text, "Teas");

    ui->activate();
    below.defaults.refusesWrites = true;
    edit();
    ASSERT_TRUE(until([] { return isShown() && find("Try again"); })) << "it is told";
    press(Qt::Key_W, Qt::ControlModifier);
    ASSERT_TRUE(throughout(200, [] { return !isShown(); })) << "once";
    ui->activate();
    ASSERT_TRUE(until([] { return isShown() && find("Teass"); })) << "nothing is lost";
    below.defaults.refusesWrites = false;
    ui.reset();
    EXPECT_EQ(scene.history.entries()[0].text, "Teass") << "the last way to store it";
    scene.log.lines.clear();
}

TEST_F(WindowTest, whatIsDictatedInTheEditorIsWrittenThere) {
    (void)scene.history.append("Tea", DictationMode::notes, Date::now() - 60);
    start(false);
    ASSERT_TRUE(until([] { return isShown() && window()->isActive() && find("Tea"); }));
    EXPECT_FALSE(ui->take("and milk.")) << "the list takes none";
    press(Qt::Key_F, Qt::ControlModifier);
    press(Qt::Key_Down);
    press(Qt::Key_Return);
    ASSERT_TRUE(until([] { return page() == "note"; }));
    EXPECT_TRUE(ui->take("and milk."));
    EXPECT_TRUE(until([] { return find("Tea and milk.") != nullptr; }));
    press(Qt::Key_Space);
    EXPECT_TRUE(ui->take("Then"));
    EXPECT_TRUE(until([] { return find("Tea and milk. Then") != nullptr; })) << "one space";
    press(Qt::Key_Return);
    EXPECT_TRUE(ui->take("cake."));
    press(Qt::Key_ParenLeft);
    EXPECT_TRUE(ui->take("Apple."));
    EXPECT_TRUE(until([] { return find("Tea and milk. Then\ncake.(Apple.") != nullptr; }));
    press(Qt::Key_A, Qt::ControlModifier);
    EXPECT_TRUE(ui->take("Or cake."));
    EXPECT_TRUE(until([] { return find("Or cake.") != nullptr; })) << "over what is selected";
    EXPECT_TRUE(isModelWatched());
    press(Qt::Key_Comma, Qt::ControlModifier);
    ASSERT_TRUE(until([] { return page() == "settings"; }));
    EXPECT_FALSE(ui->take("Or here."));
    EXPECT_TRUE(throughout(100, [] { return isModelWatched(); }));
    press(Qt::Key_Escape);
    EXPECT_TRUE(until([] { return page() == "note" && find("Or cake."); })) << "and back";
    EXPECT_TRUE(throughout(100, [] { return isModelWatched(); }));
    press(Qt::Key_Escape);
    EXPECT_TRUE(until([] { return page() == "history" && !isModelWatched(); }));
}

} // namespace nimbe
