#pragma once

namespace tavik {

// What an external agent starts to reach Tavik: copies bytes, unread, between the standard input
// and output and the socket of the running program, which it starts when it is installed and does
// not run. Ends the process with status 0 as soon as either side ends, with 1 when nothing can be
// reached or written; all that it ever says itself is one line about that on standard error.
[[noreturn]] void runMCPShim();

} // namespace tavik
