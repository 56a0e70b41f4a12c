#include "platform/desktop/SessionBus.h"

namespace tavik {

GioObject<GDBusConnection> sessionBus(GCancellable* cancellable) {
    GioObject<GDBusConnection> bus(g_bus_get_sync(G_BUS_TYPE_SESSION, cancellable, nullptr));
    // GIO would end the program when the bus ends.
    if (bus)
        g_dbus_connection_set_exit_on_close(bus.get(), FALSE);
    return bus;
}

} // namespace tavik
