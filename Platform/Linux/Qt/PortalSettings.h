#pragma once

#include <QtCore/QObject>
#include <QtDBus/QDBusConnection>
#include <QtDBus/QDBusVariant>

#include "NimbeApp/DesktopSurroundings.h"

namespace nimbe {

/// The user's choice of dark or light and of animations, from the desktop's settings
/// portal (org.freedesktop.portal.Settings), as they change. Never waits for it: what
/// does not answer says nothing. Main thread.
class PortalSettings final : public QObject {
    Q_OBJECT

public:
    /// Lent; outlives this.
    PortalSettings(QDBusConnection bus, DesktopSurroundings& surroundings);

private Q_SLOTS:
    void settingChanged(const QString& space, const QString& key, const QDBusVariant& value);

private:
    QDBusConnection bus;
    DesktopSurroundings& surroundings;
    bool isGnomeStill = false; // enable-animations is off
    bool isKdeStill = false;   // AnimationDurationFactor is 0

    void read(const QString& space, const QString& key);
    void take(const QString& space, const QString& key, const QVariant& value);
};

} // namespace nimbe
