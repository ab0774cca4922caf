#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <thread>

#include <gtest/gtest.h>

#include "DesktopDictation.h"
#include "Foundation/Text.h"
#include "Support/Process.h"
#include "Support/SoundSession.h"
#include "Support/WordErrors.h"

// The whole program on a real desktop: keys, microphone, windows, clipboard, history.

namespace nimbe {
namespace {

using Kind = DesktopScene::Kind;

void pause(int milliseconds) {
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

struct DesktopWithoutXtest : DesktopDictation {};

} // namespace

TEST_F(DesktopDictation, reachesEveryKindOfWindow) {
    ownClipboard();
    ASSERT_TRUE(startApp()) << app->output();
    for (const auto kind : {Kind::gtkEditor, Kind::qtEditor, Kind::terminal}) {
        auto target = open(kind);
        const auto before = history().size();
        FocusWatch watch;
        holdAndSay(sentences[0].file);
        ASSERT_TRUE(waitForPhase("done")) << target.name << ": " << phase() << message();
        ASSERT_TRUE(waitForPhase("idle")) << target.name;
        EXPECT_EQ(watch.changes(), std::vector<std::string>()) << target.name;
        const auto saved = history();
        ASSERT_EQ(saved.size(), before + 1) << target.name;
        EXPECT_EQ(clipboardDifferences(), "") << target.name;
        EXPECT_EQ(waitForText(target, text::characterCount(saved[0])), saved[0]) << target.name;
        expectSaid(saved[0], sentences[0]);
        EXPECT_EQ(windows.activeWindow(), target.window) << target.name;
    }
    EXPECT_EQ(endApp(), 0);
}

TEST_F(DesktopDictation, aDoubleTapRecordsHandsFree) {
    ASSERT_TRUE(startApp()) << app->output();
    auto target = open(Kind::qtEditor);
    FocusWatch watch;
    doubleTapOption();
    ASSERT_TRUE(waitForPhase("recording"));
    say(phrases[0].file);
    EXPECT_EQ(phase(), "recording");
    doubleTapOption();
    ASSERT_TRUE(waitForPhase("idle")) << message();
    const auto saved = history();
    ASSERT_EQ(saved.size(), 1U);
    EXPECT_EQ(waitForText(target, text::characterCount(saved[0])), saved[0]);
    EXPECT_EQ(watch.changes(), std::vector<std::string>());
}

TEST_F(DesktopDictation, comesBackToTheWindowOfThePress) {
    ASSERT_TRUE(startApp()) << app->output();
    auto first = open(Kind::gtkEditor);
    auto second = open(Kind::qtEditor);
    ASSERT_TRUE(windows.focus(first.window));
    windows.key(DesktopWindows::altLeft, true);
    ASSERT_TRUE(waitForPhase("recording"));
    ASSERT_TRUE(windows.focus(second.window));
    say(phrases[0].file);
    pause(300);
    windows.key(DesktopWindows::altLeft, false);
    ASSERT_TRUE(waitForPhase("idle")) << message();
    EXPECT_EQ(windows.activeWindow(), first.window);
    const auto saved = history();
    ASSERT_EQ(saved.size(), 1U);
    EXPECT_EQ(waitForText(first, text::characterCount(saved[0])), saved[0]);
    ASSERT_TRUE(windows.focus(second.window));
    EXPECT_EQ(textOf(second), "");
}

TEST_F(DesktopDictation, aTargetThatQuitsWhileOneSpeaks) {
    ASSERT_TRUE(startApp()) << app->output();
    auto target = open(Kind::gtkEditor);
    windows.key(DesktopWindows::altLeft, true);
    ASSERT_TRUE(waitForPhase("recording"));
    say(phrases[0].file);
    target.process->signal(SIGTERM);
    ASSERT_NE(target.process->wait(), -1);
    windows.key(DesktopWindows::altLeft, false);
    ASSERT_TRUE(waitForMessage("Copied to clipboard")) << message();
    const auto saved = history();
    ASSERT_EQ(saved.size(), 1U);
    const auto clipboard =
        Process::run({"/usr/bin/xclip", "-selection", "clipboard", "-o"}, "").output;
    EXPECT_EQ(clipboard, saved[0]);
}

TEST_F(DesktopDictation, withoutAWindowTheTextIsOnTheClipboard) {
    ASSERT_TRUE(startApp()) << app->output();
    holdAndSay(phrases[0].file);
    ASSERT_TRUE(waitForMessage("Copied to clipboard")) << message();
    ASSERT_EQ(history().size(), 1U);
    EXPECT_EQ(
        Process::run({"/usr/bin/xclip", "-selection", "clipboard", "-o"}, "").output, history()[0]);
}

// In a session without XTEST: nobody can press keys there, the verbs can.
TEST_F(DesktopWithoutXtest, theTextIsOnTheClipboard) {
    ASSERT_TRUE(startApp()) << app->output();
    (void)verb({"start"});
    ASSERT_TRUE(waitForPhase("recording"));
    say(phrases[0].file);
    (void)verb({"stop"});
    ASSERT_TRUE(waitForMessage("Copied to clipboard")) << message();
    ASSERT_EQ(history().size(), 1U);
    EXPECT_EQ(
        Process::run({"/usr/bin/xclip", "-selection", "clipboard", "-o"}, "").output, history()[0]);
    EXPECT_NE(app->output().find("Accessibility not granted"), std::string::npos);
    EXPECT_EQ(endApp(), 0);
}

TEST_F(DesktopDictation, aMicrophoneThatIsUnpluggedMidway) {
    ASSERT_TRUE(startApp()) << app->output();
    auto target = open(Kind::gtkEditor);
    UsbMicrophone usb("usb");
    (void)verb({"devices", "--use", usb.uid()});
    windows.key(DesktopWindows::altLeft, true);
    ASSERT_TRUE(waitForPhase("recording"));
    const auto spoken = Process::run(
        {"/usr/bin/paplay", "--latency-msec=40", "--device=usb", phrases[0].file.string()}, "");
    ASSERT_EQ(spoken.exitCode, 0);
    pause(200);
    usb.unplug();
    // What was said until then arrives, with Alt still held.
    ASSERT_TRUE(waitForPhase("idle")) << phase() << message();
    windows.key(DesktopWindows::altLeft, false);
    ASSERT_EQ(history().size(), 1U) << app->output();
    EXPECT_EQ(waitForText(target, text::characterCount(history()[0])), history()[0]);
    // The next press says what is wrong; with another microphone all is well again.
    windows.key(DesktopWindows::altLeft, true);
    EXPECT_TRUE(waitForMessage("The selected microphone is unavailable. Choose another "
                               "microphone in Settings."));
    windows.key(DesktopWindows::altLeft, false);
    (void)verb({"devices", "--use", "default"});
    holdAndSay(phrases[0].file);
    ASSERT_TRUE(waitForPhase("idle")) << message();
    EXPECT_EQ(history().size(), 2U);
}

TEST_F(DesktopDictation, aSoundServerThatRestartsMidway) {
    SoundServer server; // asked instead of the session's while it lives
    const auto plugIn = [] {
        (void)pactl({"load-module", "module-remap-source", "source_name=microphone",
            "master=speakers.monitor"});
    };
    plugIn();
    ASSERT_TRUE(startApp()) << app->output();
    windows.key(DesktopWindows::altLeft, true);
    ASSERT_TRUE(waitForPhase("recording"));
    server.kill();
    ASSERT_TRUE(waitForPhase("unavailable")) << phase();
    EXPECT_NE(message(), "");
    windows.key(DesktopWindows::altLeft, false);
    server.start();
    plugIn();
    windows.key(DesktopWindows::altLeft, true);
    EXPECT_TRUE(waitForPhase("recording")) << message();
    windows.key(DesktopWindows::altLeft, false);
    EXPECT_TRUE(waitForPhase("unavailable"));
    EXPECT_EQ(message(), "No speech detected. Nimbe dictates in English for now. Try again.");
}

TEST_F(DesktopDictation, theProgramEndsCleanlyInTheMiddleOfADictation) {
    ASSERT_TRUE(startApp()) << app->output();
    auto target = open(Kind::gtkEditor);
    windows.key(DesktopWindows::altLeft, true);
    ASSERT_TRUE(waitForPhase("recording"));
    say(phrases[0].file);
    EXPECT_EQ(endApp(), 0);
    windows.key(DesktopWindows::altLeft, false);
    ASSERT_EQ(history().size(), 1U);
    EXPECT_EQ(waitForText(target, text::characterCount(history()[0])), history()[0]);
    EXPECT_FALSE(std::filesystem::exists(sentinel()));
}

TEST_F(DesktopDictation, anUncleanEndIsTold) {
    ASSERT_TRUE(startApp()) << app->output();
    EXPECT_TRUE(std::filesystem::exists(sentinel()));
    app->signal(SIGKILL);
    EXPECT_EQ(app->wait(), 128 + SIGKILL);
    EXPECT_TRUE(std::filesystem::exists(sentinel()));
    ASSERT_TRUE(startApp()) << app->output();
    EXPECT_EQ(endApp(), 0);
    EXPECT_FALSE(std::filesystem::exists(sentinel()));
}

TEST_F(DesktopDictation, anEndThatComesDuringTheStartIsClean) {
    for (int i = 0; i < 2; ++i) {
        BackgroundProcess starting({NIMBE_EXECUTABLE, "--hidden"}, folder.path / "starting.log");
        while (!std::filesystem::exists(sentinel()) && starting.wait(0) == -1) {
        }
        starting.signal(SIGTERM);
        EXPECT_EQ(starting.wait(), 0) << starting.output();
        EXPECT_FALSE(std::filesystem::exists(sentinel()));
        std::filesystem::remove(sentinel());
    }
}

TEST_F(DesktopDictation, withoutADisplayItSaysSo) {
    BackgroundProcess lost({NIMBE_EXECUTABLE}, folder.path / "lost.log", {{"DISPLAY", ":977"}});
    EXPECT_EQ(lost.wait(), 1);
    EXPECT_NE(lost.output().find("nimbe: The X11 display does not answer.\n"), std::string::npos)
        << lost.output();
    EXPECT_FALSE(std::filesystem::exists(sentinel()));
}

TEST_F(DesktopDictation, runsWhereTheSessionTellsProgramsToUseWayland) {
    ASSERT_TRUE(startApp({"--hidden"}, {{"QT_QPA_PLATFORM", "wayland"}})) << app->output();
    EXPECT_EQ(endApp(), 0);
}

TEST_F(DesktopDictation, ofTwoThatStartAtOnceOneRuns) {
    for (int i = 0; i < 5; ++i) {
        BackgroundProcess first({NIMBE_EXECUTABLE, "--hidden"}, folder.path / "first.log");
        BackgroundProcess second({NIMBE_EXECUTABLE, "--hidden"}, folder.path / "second.log");
        // The one that was second tells the other and ends.
        int ended = -1;
        while (ended == -1) {
            ended = first.wait(0.01);
            if (ended == -1) ended = second.wait(0.01);
        }
        EXPECT_EQ(ended, 0);
        EXPECT_TRUE(waitForPhase("idle"));
        first.signal(SIGTERM);
        second.signal(SIGTERM);
        EXPECT_EQ(first.wait(), 0) << first.output();
        EXPECT_EQ(second.wait(), 0) << second.output();
    }
}

TEST_F(DesktopDictation, withoutABusOneRunsAsWell) {
    std::filesystem::create_directories(dataFolder());
    const DesktopScene::Environment noBus{
        {"DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent/bus"}};
    BackgroundProcess first({NIMBE_EXECUTABLE, "--hidden"}, folder.path / "first.log", noBus);
    const auto launched = [&] {
        return first.output().find("app: launched") != std::string::npos;
    };
    for (int i = 0; i < 200 && !launched(); ++i) pause(50);
    ASSERT_TRUE(launched()) << first.output();
    BackgroundProcess second({NIMBE_EXECUTABLE, "--hidden"}, folder.path / "second.log", noBus);
    EXPECT_EQ(second.wait(), 0);
    EXPECT_NE(second.output().find("is running already"), std::string::npos) << second.output();
    first.signal(SIGTERM);
    EXPECT_EQ(first.wait(), 0) << first.output();
}

TEST_F(DesktopDictation, aFullDiskKeepsNoTextBack) {
    const auto home = folder.path / "home";
    std::filesystem::create_directory(home);
    SmallDisk disk(home, 1 << 20);
    if (!disk.isMounted) GTEST_SKIP() << "this machine lets nobody mount a small disk";
    ::setenv("NIMBE_HOME", home.c_str(), 1);
    ASSERT_TRUE(startApp()) << app->output();
    auto target = open(Kind::gtkEditor);
    std::ofstream(home / "filler") << std::string(1 << 20, 'x');
    holdAndSay(phrases[0].file);
    ASSERT_TRUE(waitForPhase("done")) << phase() << message();
    EXPECT_TRUE(message().starts_with("Pasted into ")) << message();
    EXPECT_NE(waitForText(target, 5), "");
    // What could not be stored is stored once there is room, at the latest at the end.
    std::filesystem::remove(home / "filler");
    ASSERT_TRUE(waitForPhase("idle"));
    EXPECT_EQ(endApp(), 0);
    EXPECT_EQ(history().size(), 1U);
    ::unsetenv("NIMBE_HOME");
}

TEST_F(DesktopDictation, fiftyPressesASecondForTenSeconds) {
    ASSERT_TRUE(startApp()) << app->output();
    auto target = open(Kind::gtkEditor);
    for (int i = 0; i < 500; ++i) {
        windows.key(DesktopWindows::altLeft, true);
        pause(10);
        windows.key(DesktopWindows::altLeft, false);
        pause(10);
    }
    pause(1000);
    if (phase() == "recording") (void)verb({"cancel"});
    EXPECT_TRUE(waitForPhase("unavailable", 5) || phase() == "idle") << phase();
    holdAndSay(phrases[0].file);
    ASSERT_TRUE(waitForPhase("idle")) << message();
    EXPECT_FALSE(textOf(target).empty());
}

} // namespace nimbe
