#include "PlatformQt/StatusNotifierPresence.h"

#include <QtDBus/QDBusMessage>
#include <QtDBus/QDBusPendingCallWatcher>
#include <QtDBus/QDBusPendingReply>

namespace nimbe {
namespace {

const QString service = QStringLiteral("org.kde.StatusNotifierWatcher");
const QString path = QStringLiteral("/StatusNotifierWatcher");

} // namespace

StatusNotifierPresence::StatusNotifierPresence(QDBusConnection given, Published<bool>& hasHost)
    : bus(std::move(given)), hasHost(hasHost),
      watcher(service, bus, QDBusServiceWatcher::WatchForOwnerChange) {
    connect(&watcher, &QDBusServiceWatcher::serviceRegistered, this, [this] { ask(); });
    connect(&watcher, &QDBusServiceWatcher::serviceUnregistered, this,
        [this] { this->hasHost.set(false); });
    for (const auto* signal : {"StatusNotifierHostRegistered", "StatusNotifierHostUnregistered"})
        bus.connect(service, path, service, QString::fromLatin1(signal), this, SLOT(ask()));
    ask();
}

void StatusNotifierPresence::ask() {
    auto call = QDBusMessage::createMethodCall(
        service, path, QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Get"));
    call << service << QStringLiteral("IsStatusNotifierHostRegistered");
    call.setAutoStartService(false);
    auto* pending = std::make_unique<QDBusPendingCallWatcher>(bus.asyncCall(call), this).release();
    connect(pending, &QDBusPendingCallWatcher::finished, this, [this, pending] {
        pending->deleteLater();
        const QDBusPendingReply<QDBusVariant> reply = *pending;
        hasHost.set(!reply.isError() && reply.value().variant().toBool());
    });
}

} // namespace nimbe
