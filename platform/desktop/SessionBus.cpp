#include "platform/desktop/SessionBus.h"

namespace tavik {

GioObject<GDBusConnection> connectionTo(const std::string& address, GCancellable* cancellable) {
    const int flags = G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                      G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION;
    return GioObject<GDBusConnection>(g_dbus_connection_new_for_address_sync(
        address.c_str(), static_cast<GDBusConnectionFlags>(flags), nullptr, cancellable, nullptr));
}

GioObject<GDBusConnection> connectionToSession(GCancellable* cancellable) {
    return connectionTo(
        takenText(g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SESSION, cancellable, nullptr)),
        cancellable);
}

GioObject<GDBusConnection> sharedSessionBus(GCancellable* cancellable) {
    GioObject<GDBusConnection> bus(g_bus_get_sync(G_BUS_TYPE_SESSION, cancellable, nullptr));
    // GIO would end the program when the bus ends.
    if (bus)
        g_dbus_connection_set_exit_on_close(bus.get(), FALSE);
    return bus;
}

} // namespace tavik
