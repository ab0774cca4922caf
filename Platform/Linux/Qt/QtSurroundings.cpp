#include "PlatformQt/QtSurroundings.h"

#include <QtGui/QGuiApplication>

#include "PlatformQt/PortalSettings.h"
#include "PlatformQt/StatusNotifierPresence.h"
#include "PlatformQt/X11Selections.h"

namespace nimbe {

struct QtSurroundings::Watches {
    X11Selections selections;
    std::unique_ptr<PortalSettings> portal;
    std::unique_ptr<StatusNotifierPresence> trayHost;
};

QtSurroundings::QtSurroundings(DesktopSurroundings& surroundings)
    : watches(std::make_unique<Watches>()) {
    // Under Wayland every window is composited.
    if (QGuiApplication::platformName().startsWith(QLatin1String("wayland")))
        surroundings._isComposited.set(true);
    watches->selections.watch("_NET_WM_CM_S%", surroundings._isComposited);
    watches->selections.watch("_NET_SYSTEM_TRAY_S%", surroundings._hasTrayWindow);
    const auto bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) return;
    watches->portal = std::make_unique<PortalSettings>(bus, surroundings);
    watches->trayHost =
        std::make_unique<StatusNotifierPresence>(bus, surroundings._hasStatusNotifierHost);
}

QtSurroundings::~QtSurroundings() = default;

} // namespace nimbe
