#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <thread>

#include "DesktopScene.h"
#include "Foundation/Text.h"
#include "Support/Process.h"

// The whole program at work without a person: speech is played into a virtual microphone,
// Alt is held, and the text has to stand in real windows. Tells what it sees, leaves
// pictures in the folder that it is given, and ends with 1 when something is not as it
// should be.

namespace nimbe {
namespace {

using Kind = DesktopScene::Kind;

class Demo {
public:
    explicit Demo(std::filesystem::path pictures) : pictures(std::move(pictures)) {}

    int run() {
        std::filesystem::create_directories(pictures);
        (void)Process::run(
            {"/usr/bin/hsetroot", "-add", "#35495e", "-add", "#8a9aa6", "-gradient", "0"}, "");
        scene.ownClipboard();
        check("the application starts", scene.startApp());
        for (const auto kind : {Kind::gtkEditor, Kind::qtEditor, Kind::terminal}) dictate(kind);
        handsFree();
        check("the application ends cleanly", scene.endApp() == 0);
        std::printf("\nPictures are in %s\n", pictures.c_str());
        if (failures > 0) std::fputs(scene.app->output().c_str(), stderr);
        return failures == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
    }

private:
    DesktopScene scene;
    std::filesystem::path pictures;
    std::vector<RecordedSpeech> book = RecordedSpeech::sentences();
    int failures = 0;
    int pictureCount = 0;

    void check(const std::string& what, bool holds) {
        std::printf("  %s %s\n", holds ? "✓" : "✗", what.c_str());
        std::fflush(stdout);
        if (!holds) ++failures;
    }
    void picture(const std::string& what) {
        const auto name = std::to_string(++pictureCount) + "-" + what + ".png";
        scene.screenshot(pictures / name);
    }

    /// Speaks with Alt held, and looks while somebody speaks.
    void dictate(Kind kind) {
        auto target = scene.open(kind);
        const auto& speech = book[static_cast<std::size_t>(kind)];
        std::printf("\nAlt held in the %s, said: %s\n", target.name.c_str(), speech.said.c_str());
        FocusWatch watch;
        scene.windows.key(DesktopWindows::altLeft, true);
        check("it records", scene.waitForPhase("recording"));
        std::thread looking([&] {
            std::this_thread::sleep_for(std::chrono::milliseconds(2500));
            picture("speaking");
        });
        scene.say(speech.file);
        looking.join();
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        scene.windows.key(DesktopWindows::altLeft, false);
        const bool isDone = scene.waitForPhase("done");
        const auto message = scene.message();
        std::this_thread::sleep_for(std::chrono::milliseconds(400));
        picture("pasted");
        check(message.empty() ? "a result" : message, isDone && message.starts_with("Pasted"));
        (void)scene.waitForPhase("idle");
        finish(target, watch, 1);
    }

    void finish(DesktopScene::Target& target, const FocusWatch& watch, std::size_t count) {
        const auto changes = watch.changes();
        check("no menu opened, the focus did not move", changes.empty());
        for (const auto& change : changes) std::printf("      %s\n", change.c_str());
        const auto difference = scene.clipboardDifferences();
        check("the clipboard is as it was, in all its forms", difference.empty());
        if (!difference.empty()) std::printf("      %s\n", difference.c_str());
        const auto saved = scene.history();
        check("the history has it", saved.size() >= count);
        if (saved.empty()) return;
        const auto text = scene.waitForText(target, text::characterCount(saved[0]));
        std::printf("    %s\n", text.c_str());
        check("it stands in the window", text == saved[0]);
        scene.windows.close(target.window);
        (void)target.process->wait(3);
    }

    void handsFree() {
        auto target = scene.open(Kind::qtEditor);
        std::printf("\nAlt tapped twice, hands-free, said: %s\n", book[3].said.c_str());
        FocusWatch watch;
        scene.doubleTapOption();
        check("it records", scene.waitForPhase("recording"));
        std::thread looking([&] {
            std::this_thread::sleep_for(std::chrono::milliseconds(2500));
            picture("hands-free");
        });
        scene.say(book[3].file);
        looking.join();
        scene.doubleTapOption();
        check("the next tap ends it", scene.waitForPhase("idle"));
        finish(target, watch, 4);
    }
};

} // namespace
} // namespace nimbe

int main(int count, char** arguments) {
    try {
        return nimbe::Demo(count > 1 ? arguments[1] : "demo").run();
    } catch (const std::exception& error) {
        std::fprintf(stderr, "demo: %s\n", error.what());
        return EXIT_FAILURE;
    }
}
