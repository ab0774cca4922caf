#include "PlatformGLib/SessionBus.h"

namespace nimbe {

Result<SessionBus, std::string> SessionBus::connect(GCancellable* deadline) {
    GlibError error;
    const GlibString address(
        g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SESSION, deadline, error.out()));
    if (!address) return failure(error.code());
    const auto flags =
        static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                          G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION);
    auto* connection = g_dbus_connection_new_for_address_sync(
        address.get(), flags, nullptr, deadline, error.out());
    if (!connection) return failure(error.code());
    return SessionBus(connection);
}

SessionBus::~SessionBus() {
    // Not waited for: the bus may hang.
    if (connection) g_dbus_connection_close(connection.get(), nullptr, nullptr, nullptr);
}

} // namespace nimbe
