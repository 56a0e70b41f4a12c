#pragma once

namespace tavik {

// Listens without a window until the main queue is told to quit. Blocks; belongs to the main
// thread. While listening is not switched on in the settings it says how to, and waits for it.
void runHeadless();

} // namespace tavik
