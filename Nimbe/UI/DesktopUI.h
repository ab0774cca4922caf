#pragma once

#include <memory>

#include "NimbeUI/DesktopServices.h"
#include "NimbeUI/QuickCaptureHUD.h"

namespace nimbe {

/// All that people see beside the overlay: the tray item and the window. Main thread;
/// needs a QApplication. The overlay is made before it, since the dictation needs that.
///
/// Closing the window leaves the program running; quitting is the tray's, or that of
/// whoever holds `quit`.
class DesktopUI {
public:
    DesktopUI(DesktopServices services, QuickCaptureHUD& hud);
    DesktopUI(const DesktopUI&) = delete;
    DesktopUI& operator=(const DesktopUI&) = delete;
    ~DesktopUI();

    /// Once, when all services have started. Hidden: without the window, unless this is
    /// the first run.
    void start(bool isHidden);

    /// Shows the window, in front.
    void activate();

    /// A text that was dictated in the window; false: it has no field for it.
    [[nodiscard]] bool take(const std::string& text);

    /// What is stored may be readable now.
    void refreshHistory();

private:
    struct Parts;
    std::unique_ptr<Parts> parts;
};

/// What the toolkit must be told before its application object is made: the software
/// renderer, unless the environment chooses one, and the neutral control style.
void prepareDesktopUI();

} // namespace nimbe
