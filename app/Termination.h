#pragma once

namespace tavik {

// Asks the program to end: the main queue quits, and whatever runs it ends the services in order.
// With TAVIK_DEBUG_SIGNALS=1 the log tells who asked. Returns at once; from any thread.
void requestQuit();

} // namespace tavik
