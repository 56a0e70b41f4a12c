#pragma once

#include "platform/concurrency/Task.h"

namespace tavik {

// Copies the keys of the key files into the keyring, without letting anybody wait for it: meanwhile
// the files still count. Destruction cancels it, and the next start goes on.
Task<void> migrateKeysMeanwhile();

} // namespace tavik
