#include "PlatformQt/PortalSettings.h"

#include <QtDBus/QDBusMessage>
#include <QtDBus/QDBusPendingCallWatcher>
#include <QtDBus/QDBusPendingReply>

namespace nimbe {
namespace {

const QString service = QStringLiteral("org.freedesktop.portal.Desktop");
const QString path = QStringLiteral("/org/freedesktop/portal/desktop");
const QString interface = QStringLiteral("org.freedesktop.portal.Settings");

const QString appearance = QStringLiteral("org.freedesktop.appearance");
const QString colorScheme = QStringLiteral("color-scheme");
const QString gnome = QStringLiteral("org.gnome.desktop.interface");
const QString gnomeAnimations = QStringLiteral("enable-animations");
const QString kde = QStringLiteral("org.kde.kdeglobals.KDE");
const QString kdeDuration = QStringLiteral("AnimationDurationFactor");

/// Read() wraps its answer in one variant more than the signal does.
QVariant unwrapped(QVariant value) {
    while (value.canConvert<QDBusVariant>()) value = value.value<QDBusVariant>().variant();
    return value;
}

} // namespace

PortalSettings::PortalSettings(QDBusConnection given, DesktopSurroundings& surroundings)
    : bus(std::move(given)), surroundings(surroundings) {
    // The match first: a change during the reading is not missed.
    bus.connect(service, path, interface, QStringLiteral("SettingChanged"), this,
        SLOT(settingChanged(QString, QString, QDBusVariant)));
    read(appearance, colorScheme);
    read(gnome, gnomeAnimations);
    read(kde, kdeDuration);
}

void PortalSettings::read(const QString& space, const QString& key) {
    auto call = QDBusMessage::createMethodCall(service, path, interface, QStringLiteral("Read"));
    call << space << key;
    auto* watcher = std::make_unique<QDBusPendingCallWatcher>(bus.asyncCall(call), this).release();
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, space, key, watcher] {
        watcher->deleteLater();
        const QDBusPendingReply<QVariant> reply = *watcher;
        if (!reply.isError()) take(space, key, reply.value());
    });
}

void PortalSettings::settingChanged(
    const QString& space, const QString& key, const QDBusVariant& value) {
    take(space, key, value.variant());
}

void PortalSettings::take(const QString& space, const QString& key, const QVariant& wrapped) {
    const QVariant value = unwrapped(wrapped);
    if (space == appearance && key == colorScheme) {
        // 0: no preference, 1: dark, 2: light.
        const auto scheme = value.toUInt();
        if (scheme == 1 || scheme == 2)
            surroundings._prefersDark.set(scheme == 1);
        else
            surroundings._prefersDark.set(std::nullopt);
    } else if (space == gnome && key == gnomeAnimations) {
        isGnomeStill = !value.toBool();
    } else if (space == kde && key == kdeDuration) {
        // A text in KDE's own file; some versions give a number.
        bool isNumber = false;
        const double factor = value.toString().toDouble(&isNumber);
        isKdeStill = isNumber && factor <= 0;
    }
    surroundings._reducesMotion.set(isGnomeStill || isKdeStill);
}

} // namespace nimbe
