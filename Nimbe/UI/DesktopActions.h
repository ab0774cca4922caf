#pragma once

#include <QtCore/QObject>
#include <memory>
#include <string>
#include <vector>

#include "NimbeUI/DesktopServices.h"
#include "NimbeUI/TrayMenu.h"

namespace nimbe {

/// What can be done from the tray item and the window alike, and the state that both
/// show. changed() comes at most once a turn of the main loop.
class DesktopActions : public QObject {
    Q_OBJECT

public:
    explicit DesktopActions(DesktopServices services);

    /// Windows are not its business: openWindow only tells.
    void perform(TrayMenu::Command command, const std::string& argument = {});

    /// Onto the clipboard, where it stays.
    void copy(std::string text);
    /// Changes of settings made elsewhere.
    void settingsChanged();
    /// Reads the history anew, in the background; historyChanged tells when it is there.
    void refreshHistory();
    /// From now on, and what the history holds already. False: it could not be stored.
    [[nodiscard]] bool setKeepsAll(bool keepsAll);
    /// The answer to whether all are to be kept, which is asked once.
    [[nodiscard]] bool answerKeepingAll(bool isWanted);
    /// Looks for the language model that the cleanup needs; not while that is off.
    void refreshModel();
    /// Work that may wait for the disk or the keyring, on the thread for that where there
    /// is one; `then` is run on the main one, if this is still there.
    void inBackground(std::function<void()> work, std::function<void()> then = {});

    [[nodiscard]] TrayMenu::Input state() const;
    /// "Alt (Option)", or the recorded chord.
    [[nodiscard]] std::string trigger() const;
    using Entries = std::vector<DictationEntry>;
    [[nodiscard]] const Entries& entries() const { return *history; }
    /// The same, for whoever needs them beyond the next historyChanged().
    [[nodiscard]] std::shared_ptr<const Entries> sharedEntries() const { return history; }
    [[nodiscard]] std::string historyProblem() const { return problem; }
    [[nodiscard]] bool isMenuBarVisible() const;
    [[nodiscard]] DesktopServices& all() { return services; }

Q_SIGNALS:
    void changed();
    void historyChanged();
    void windowWanted();

private:
    DesktopServices services;
    std::shared_ptr<const Entries> history = std::make_shared<Entries>(); // newest first
    std::string problem;
    std::shared_ptr<int> alive = std::make_shared<int>();
    bool showsLocalOnlyNote = false;
    bool isTold = false;
    TaskScope tasks;
    std::vector<Token> observers;
    Token telling;

    void observe();
    void tellLater();
    void fillHistory();
    struct Reading {
        Entries entries;
        std::string problem;
    };
    [[nodiscard]] static Reading read(HistoryLibrary& history);
    void take(Reading reading);
    [[nodiscard]] static Task<void> write(Pasteboard& pasteboard, std::string text, Log log);
};

} // namespace nimbe
