#pragma once

#include <QtGui/QIcon>

#include "NimbeUI/TrayMenu.h"

namespace nimbe {

/// The tray item's picture, in the sizes of panels. States differ in shape, not in colour
/// alone; legible on dark and on light panels.
[[nodiscard]] QIcon trayIcon(TrayMenu::Icon icon);

/// The program's own picture, of its windows and in lists.
[[nodiscard]] QIcon applicationIcon();

} // namespace nimbe
