#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "DesktopWindows.h"
#include "Support/BackgroundProcess.h"
#include "Support/RecordedSpeech.h"
#include "Support/TemporaryFolder.h"

namespace nimbe {

/// The application on a desktop of its own, with programs to dictate into. Runs in
/// scripts/desktop-session with a desktop and a sound server.
class DesktopScene {
public:
    DesktopScene();

    TemporaryFolder folder;
    DesktopWindows windows;

    // The application.
    using Environment = std::vector<std::pair<std::string, std::string>>;
    /// Until it watches the keys. False: it is not there within twenty seconds.
    [[nodiscard]] bool startApp(
        std::vector<std::string> options = {"--hidden"}, Environment environment = {});
    /// Its exit code.
    int endApp();
    /// "idle" or another phase; empty when it does not run.
    [[nodiscard]] std::string phase();
    /// Of the phase.
    [[nodiscard]] std::string message();
    [[nodiscard]] bool waitForPhase(const std::string& phase, double seconds = 15);
    [[nodiscard]] bool waitForMessage(const std::string& message, double seconds = 15);
    /// A verb of the program; its output.
    [[nodiscard]] std::string verb(std::vector<std::string> words, int expectedExitCode = 0) const;
    /// The texts in the history, newest first.
    [[nodiscard]] std::vector<std::string> history() const;
    std::unique_ptr<BackgroundProcess> app;

    // What one dictates into. Its text can be read once it was saved.
    enum class Kind { gtkEditor, qtEditor, terminal };
    struct Target {
        Kind kind = Kind::gtkEditor;
        std::string name; // for messages
        std::unique_ptr<BackgroundProcess> process;
        xcb_window_t window = XCB_NONE;
        std::filesystem::path file;
    };
    /// Open, in front, with the keyboard. Throws when it does not come.
    [[nodiscard]] Target open(Kind kind);
    /// What stands in it, saved by its own keys.
    [[nodiscard]] std::string textOf(Target& target);
    /// Waits until it holds so many characters; what stands there.
    [[nodiscard]] std::string waitForText(Target& target, std::size_t least, double seconds = 10);

    // The user.
    /// Into the microphone; ends when it was said.
    void say(const std::filesystem::path& recording) const;
    /// Alt down, once the application records the speech, Alt up after it.
    void holdAndSay(const std::filesystem::path& recording);
    void doubleTapOption();

    /// A picture of the whole screen.
    void screenshot(const std::filesystem::path& file) const;

    // The clipboard, of another program: several forms, among them binary ones.
    void ownClipboard();
    /// Differences to what ownClipboard() put there; empty: it is as it was.
    [[nodiscard]] std::string clipboardDifferences() const;

private:
    std::vector<std::unique_ptr<BackgroundProcess>> others;
    int targets = 0;
    int starts = 0;
};

} // namespace nimbe
