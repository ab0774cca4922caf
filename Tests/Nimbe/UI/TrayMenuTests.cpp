#include <QtGui/QPainter>

#include <gtest/gtest.h>

#include "NimbeEngine/Transform/TransformPreset.h"
#include "NimbeUI/Symbol.h"
#include "NimbeUI/TrayIcon.h"
#include "NimbeUI/TrayMenu.h"

namespace nimbe {
namespace {

using Kind = TrayMenu::Phase::Kind;
using Command = TrayMenu::Command;

/// As a person would read it: "- " before what cannot be chosen, "[x]" for marks.
std::string read(const std::vector<TrayMenu::Item>& items, const std::string& indent = "") {
    std::string text;
    for (const auto& item : items) {
        if (item.isSeparator()) continue;
        text += indent + (item.isEnabled ? "" : "- ");
        if (item.isChecked) text += *item.isChecked ? "[x] " : "[ ] ";
        text += item.title + "\n" + read(item.children, indent + "  ");
    }
    return text;
}

DictationEntry entry(std::string text) {
    return {UUID::random(), std::move(text), Date::fromUnix(0)};
}

const TrayMenu::Item* find(const std::vector<TrayMenu::Item>& items, Command command) {
    for (const auto& item : items)
        if (item.command == command) return &item;
    return nullptr;
}

} // namespace

TEST(TrayMenu, atRest) {
    const TrayMenu::Input input{.trigger = "Alt (Option)",
        .microphones = {MicrophoneDevice::systemDefault(), MicrophoneDevice::unavailable("gone")},
        .preferredMicrophone = "gone",
        .recent = {entry("One\ntwo & three")},
        .startsAtLogin = true};
    EXPECT_EQ(read(TrayMenu::items(input)), "- Hold Alt (Option) and speak.\n"
                                            "Start Dictation\n"
                                            "Microphone\n"
                                            "  [ ] System Default\n"
                                            "  [x] Selected microphone (unavailable)\n"
                                            "[ ] AI Cleanup\n"
                                            "Recent Dictations\n"
                                            "  One two & three\n"
                                            "Open Nimbe…\n"
                                            "[x] Start at Login\n"
                                            "Quit Nimbe\n");
}

TEST(TrayMenu, aCleanupInVainSaysSo) {
    for (const bool isEnabled : {false, true}) {
        for (const bool hasNoModel : {false, true}) {
            const auto items = TrayMenu::items(
                {.trigger = "F9", .isCleanupEnabled = isEnabled, .hasNoModel = hasNoModel});
            const auto* item = find(items, Command::toggleCleanup);
            ASSERT_TRUE(item);
            EXPECT_EQ(item->isChecked, isEnabled);
            EXPECT_EQ(item->title,
                isEnabled && hasNoModel ? "AI Cleanup (no model answers)" : "AI Cleanup");
        }
    }
}

TEST(TrayMenu, whatCanBeDoneInEachPhase) {
    struct Case {
        Kind kind;
        bool canStart;
        bool canStop;
        TrayMenu::Icon icon;
    };
    using enum TrayMenu::Icon;
    const Case cases[] = {{Kind::idle, true, false, idle}, {Kind::preparing, false, true, working},
        {Kind::recording, false, true, recording}, {Kind::finalizing, false, false, working},
        {Kind::done, true, false, idle}, {Kind::unavailable, true, false, problem}};
    for (const auto& c : cases) {
        const auto number = static_cast<int>(c.kind);
        const auto items = TrayMenu::items({.phase = {c.kind, "Said."}, .trigger = "F9"});
        const auto* start = find(items, Command::startDictation);
        EXPECT_EQ(start && start->isEnabled, c.canStart) << number;
        EXPECT_EQ(find(items, Command::stopDictation) != nullptr, c.canStop) << number;
        EXPECT_EQ(find(items, Command::cancelDictation) != nullptr, c.canStop) << number;
        EXPECT_EQ(TrayMenu::icon({c.kind}, false), c.icon) << number;
    }
    EXPECT_EQ(TrayMenu::icon({Kind::idle}, true), problem) << "the banner is in the menu";
    EXPECT_EQ(TrayMenu::icon({Kind::recording}, true), recording) << "recording counts more";
}

TEST(TrayMenu, theBannerOfACrashWithItsWaysOut) {
    TrayMenu::Input input{
        .trigger = "F9", .crash = CrashSentinel::LaunchAssessment{true, 1, false}};
    auto text = read(TrayMenu::items(input));
    EXPECT_NE(text.find("- Nimbe didn't shut down cleanly last time.\nReport a Problem\nDismiss\n"),
        text.npos)
        << text;
    input.crash->offerLocalOnly = true;
    text = read(TrayMenu::items(input));
    EXPECT_NE(text.find("Report a Problem\nRelaunch local-only\nDismiss\n"), text.npos) << text;
    input.showsLocalOnlyNote = true;
    text = read(TrayMenu::items(input));
    EXPECT_NE(
        text.find("- Quit and reopen Nimbe. The next launch skips iCloud sync once.\nDismiss"),
        text.npos)
        << text;
    input.crash->uncleanShutdown = false;
    EXPECT_EQ(read(TrayMenu::items(input)).find("cleanly"), text.npos);
}

TEST(TrayMenu, tenRecentOnesEachOnAShortLine) {
    TrayMenu::Input input{.trigger = "F9"};
    for (int i = 0; i < 11; ++i) input.recent.push_back(entry(std::string(49, 'a')));
    input.recent[0].text = std::string(48, 'b');
    for (const auto& item : TrayMenu::items(input)) {
        if (item.title != "Recent Dictations") continue;
        ASSERT_EQ(item.children.size(), 10U);
        EXPECT_EQ(item.children[0].title, std::string(48, 'b'));
        EXPECT_NE(item.children[1].title.find("…"), std::string::npos);
        EXPECT_EQ(item.children[9].argument, input.recent[9].id.text());
    }
}

TEST(Symbols, allThatTheLogicNamesAreDrawn) {
    TrayMenu::Input input{.trigger = "F9",
        .availableVersion = "1.4",
        .crash = CrashSentinel::LaunchAssessment{true, 2, true}};
    std::vector<QString> names{"checkmark.circle.fill", "exclamationmark.triangle.fill"};
    for (const auto& item : TrayMenu::items(input))
        if (!item.symbol.empty()) names.push_back(QString::fromStdString(item.symbol));
    for (const auto preset : allTransformPresets)
        names.push_back(QString::fromUtf8(symbolName(preset).data()));
    names.push_back(QString::fromUtf8(FixTransform::symbolName.data()));
    EXPECT_EQ(names.size(), 8U);
    for (const auto& name : names) {
        QImage image(24, 24, QImage::Format_ARGB32_Premultiplied);
        image.fill(Qt::transparent);
        QPainter painter(&image);
        EXPECT_TRUE(paintSymbol(painter, name, 24, Qt::black)) << name.toStdString();
        int drawn = 0;
        for (int y = 0; y < 24; ++y)
            for (int x = 0; x < 24; ++x) drawn += qAlpha(image.pixel(x, y)) > 128 ? 1 : 0;
        EXPECT_GT(drawn, 40) << name.toStdString();
    }
    QImage none(24, 24, QImage::Format_ARGB32_Premultiplied);
    QPainter painter(&none);
    EXPECT_FALSE(paintSymbol(painter, "no.such.symbol", 24, Qt::black));
}

/// On the darkest and the brightest of panels, at the smallest size.
TEST(TrayIcon, everyStateStandsOutOnEveryPanelAndFromTheOthers) {
    using enum TrayMenu::Icon;
    std::vector<QImage> seen;
    for (const auto icon : {idle, recording, working, problem}) {
        for (const auto panel : {Qt::black, Qt::white}) {
            QImage image(16, 16, QImage::Format_RGB32);
            image.fill(panel);
            QPainter painter(&image);
            painter.drawPixmap(0, 0, trayIcon(icon).pixmap(16, 16));
            int standingOut = 0;
            for (int y = 0; y < 16; ++y)
                for (int x = 0; x < 16; ++x)
                    if (qAbs(qGray(image.pixel(x, y)) - qGray(QColor(panel).rgb())) > 80)
                        ++standingOut;
            EXPECT_GT(standingOut, 60) << static_cast<int>(icon);
            if (panel == Qt::black)
                seen.push_back(image.convertToFormat(QImage::Format_Grayscale8));
        }
    }
    for (std::size_t i = 0; i < seen.size(); ++i)
        for (std::size_t j = 0; j < i; ++j) EXPECT_NE(seen[i], seen[j]) << "without colour";
}

} // namespace nimbe
