#include "DesktopScene.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <thread>

#include "Foundation/Json.h"
#include "Foundation/Text.h"
#include "Support/Process.h"

namespace nimbe {
namespace {

using Clock = std::chrono::steady_clock;

void pause(int milliseconds) {
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

bool waitUntil(double seconds, const std::function<bool()>& condition) {
    const auto limit = Clock::now() + std::chrono::duration<double>(seconds);
    while (!condition()) {
        if (Clock::now() > limit) return false;
        pause(20);
    }
    return true;
}

std::string read(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

std::string environmentValue(const char* name) {
    const char* value = std::getenv(name);
    if (!value) throw std::runtime_error("not under scripts/desktop-session");
    return value;
}

} // namespace

DesktopScene::DesktopScene() {
    (void)environmentValue("SESSION_X_PID");
}

bool DesktopScene::startApp(std::vector<std::string> options, Environment environment) {
    options.insert(options.begin(), NIMBE_EXECUTABLE);
    (void)verb({"settings", "set", "onboardingCompleted", "on"}); // no window for the first run
    app = std::make_unique<BackgroundProcess>(
        options, folder.path / ("app" + std::to_string(++starts) + ".log"), environment);
    const auto hasLaunched = [&] {
        return app->output().find("app: launched") != std::string::npos;
    };
    if (!waitUntil(20, hasLaunched) || phase().empty()) return false;
    pause(200); // the X server is told a moment later that it watches the keys
    return true;
}

int DesktopScene::endApp() {
    app->signal(SIGTERM);
    return app->wait();
}

std::string DesktopScene::verb(std::vector<std::string> words, int expectedExitCode) const {
    words.insert(words.begin(), NIMBE_EXECUTABLE);
    const auto process = Process::run(words, "");
    if (process.exitCode != expectedExitCode && expectedExitCode >= 0)
        throw std::runtime_error(words[1] + ": exit " + std::to_string(process.exitCode) + ": " +
                                 process.output + process.error);
    return process.output;
}

std::string DesktopScene::phase() {
    const auto json = Json::parse(verb({"status", "--json"}, -1));
    const auto* phase = json ? json->member("phase") : nullptr;
    return phase && phase->asString() ? *phase->asString() : std::string();
}

std::string DesktopScene::message() {
    const auto json = Json::parse(verb({"status", "--json"}, -1));
    const auto* text = json ? json->member("message") : nullptr;
    return text && text->asString() ? *text->asString() : std::string();
}

bool DesktopScene::waitForPhase(const std::string& wanted, double seconds) {
    return waitUntil(seconds, [&] { return phase() == wanted; });
}

bool DesktopScene::waitForMessage(const std::string& wanted, double seconds) {
    return waitUntil(seconds, [&] { return message() == wanted; });
}

std::vector<std::string> DesktopScene::history() const {
    const auto json = Json::parse(verb({"history", "list", "--json"}));
    std::vector<std::string> texts;
    if (!json || !json->asArray()) return texts;
    for (const auto& entry : *json->asArray())
        if (const auto* text = entry.member("text")) texts.push_back(*text->asString());
    return texts;
}

DesktopScene::Target DesktopScene::open(Kind kind) {
    Target target;
    target.kind = kind;
    target.file = folder.path / ("text" + std::to_string(++targets) + ".txt");
    std::ofstream(target.file).flush();
    std::vector<std::string> command;
    std::string windowClass;
    switch (kind) {
    case Kind::gtkEditor:
        target.name = "GTK editor";
        command = {"mousepad", "--disable-server", target.file.string()};
        windowClass = "mousepad";
        break;
    case Kind::qtEditor:
        target.name = "Qt editor";
        command = {"featherpad", "--standalone", target.file.string()};
        windowClass = "featherpad";
        break;
    case Kind::terminal:
        target.name = "terminal";
        command = {"xfce4-terminal", "--disable-server", "--command",
            "sh -c 'cat > " + target.file.string() + "'"};
        windowClass = "xfce4-terminal";
        break;
    }
    target.process = std::make_unique<BackgroundProcess>(
        command, folder.path / ("target" + std::to_string(targets) + ".log"));
    const auto window = windows.waitForWindow(windowClass);
    if (!window || !windows.focus(*window))
        throw std::runtime_error(
            "no window of the " + target.name + ": " + target.process->output());
    target.window = *window;
    return target;
}

std::string DesktopScene::textOf(Target& target) {
    if (target.kind == Kind::terminal)
        windows.chord({DesktopWindows::returnKey});
    else
        windows.chord({DesktopWindows::control, DesktopWindows::keyS});
    // Nothing tells when it has saved.
    std::string before = read(target.file);
    for (int i = 0; i < 10; ++i) {
        pause(30);
        auto after = read(target.file);
        if (after == before && i > 2) break;
        before = std::move(after);
    }
    while (before.ends_with('\n')) before.pop_back();
    return before;
}

std::string DesktopScene::waitForText(Target& target, std::size_t least, double seconds) {
    std::string text;
    waitUntil(seconds, [&] {
        text = textOf(target);
        return text::characterCount(text) >= least;
    });
    return text;
}

void DesktopScene::say(const std::filesystem::path& recording) const {
    const auto process =
        Process::run({"/usr/bin/paplay", "--latency-msec=40",
                         "--device=" + environmentValue("SESSION_MIC_SINK"), recording.string()},
            "", 120);
    if (process.exitCode != 0) throw std::runtime_error("paplay: " + process.error);
}

void DesktopScene::holdAndSay(const std::filesystem::path& recording) {
    windows.key(DesktopWindows::altLeft, true);
    if (!waitForPhase("recording")) throw std::runtime_error("it does not record: " + phase());
    say(recording);
    pause(300); // one lets go a moment after the last word
    windows.key(DesktopWindows::altLeft, false);
}

void DesktopScene::doubleTapOption() {
    for (int tap = 0; tap < 2; ++tap) {
        windows.key(DesktopWindows::altLeft, true);
        pause(60);
        windows.key(DesktopWindows::altLeft, false);
        pause(90);
    }
}

void DesktopScene::screenshot(const std::filesystem::path& file) const {
    const auto process = Process::run({"/usr/bin/import", "-window", "root", file.string()}, "");
    if (process.exitCode != 0) throw std::runtime_error("import: " + process.error);
}

void DesktopScene::ownClipboard() {
    others.push_back(std::make_unique<BackgroundProcess>(
        std::vector<std::string>{CLIPBOARD_OWNER, "own"}, folder.path / "clipboard.log"));
    auto& owner = *others.back();
    if (!waitUntil(10, [&] { return owner.output().find("ready") != std::string::npos; }))
        throw std::runtime_error("the clipboard has no owner: " + owner.output());
}

std::string DesktopScene::clipboardDifferences() const {
    const auto process = Process::run({CLIPBOARD_OWNER, "compare"}, "");
    if (process.exitCode == 0) return {};
    return "clipboard: " + process.output + process.error;
}

} // namespace nimbe
