#pragma once

#include "platform/desktop/GioHandles.h"

namespace tavik {

// A connection of our own to the bus at `address`; none when there is none. Blocks until it
// answers, or until `cancellable` is cancelled. Private to platform/, like the rest.
GioObject<GDBusConnection> connectionTo(const std::string& address, GCancellable* cancellable);

// One of our own to the session bus.
GioObject<GDBusConnection> connectionToSession(GCancellable* cancellable);

// The one to the session bus that GIO shares in this process.
GioObject<GDBusConnection> sharedSessionBus(GCancellable* cancellable);

} // namespace tavik
