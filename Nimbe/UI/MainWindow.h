#pragma once

#include <QtCore/QObject>
#include <QtQuick/QQuickView>
#include <memory>
#include <optional>

#include "NimbeUI/AIClientsViewModel.h"
#include "NimbeUI/HistoryListModel.h"
#include "NimbeUI/LanguageModelViewModel.h"
#include "NimbeUI/NoteEditViewModel.h"
#include "NimbeUI/QuickCaptureHUD.h"
#include "NimbeUI/ShortcutRecorder.h"
#include "NimbeUI/WindowViewModel.h"

namespace nimbe {

/// The window "Nimbe". Closed, it takes its scene with it, as soon as the note in the
/// editor is stored; the next activate() makes it anew.
class MainWindow : public QObject {
    Q_OBJECT

public:
    MainWindow(DesktopActions& actions, QuickCaptureHUD& hud);
    ~MainWindow() override;

    /// Shows it, in front and with the keyboard.
    void activate();
    /// See WindowViewModel.
    [[nodiscard]] bool take(const std::string& text);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    struct Scene;

    DesktopActions& actions;
    QuickCaptureHUD& hud;
    Log log;
    std::unique_ptr<Scene> scene;
    QRect lastPlace;

    void make();
    void dropUnused();
};

} // namespace nimbe
