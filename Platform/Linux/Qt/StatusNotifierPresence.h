#pragma once

#include <QtCore/QObject>
#include <QtDBus/QDBusConnection>
#include <QtDBus/QDBusServiceWatcher>

#include "Foundation/Published.h"

namespace nimbe {

/// Whether a panel shows tray items by D-Bus (org.kde.StatusNotifierWatcher with a host),
/// as it comes and goes. Never waits for it. Main thread.
class StatusNotifierPresence final : public QObject {
    Q_OBJECT

public:
    /// Lent; outlives this.
    StatusNotifierPresence(QDBusConnection bus, Published<bool>& hasHost);

private Q_SLOTS:
    void ask();

private:
    QDBusConnection bus;
    Published<bool>& hasHost;
    QDBusServiceWatcher watcher;
};

} // namespace nimbe
