#pragma once

#include "platform/desktop/GioHandles.h"

namespace tavik {

// The session bus as GIO uses it in this process; none when there is none. Blocks until it answers,
// or until `cancellable` is cancelled. Private to this folder.
GioObject<GDBusConnection> sessionBus(GCancellable* cancellable);

} // namespace tavik
