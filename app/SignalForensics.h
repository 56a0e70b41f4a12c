#pragma once

#include <csignal>

namespace tavik {

// Tells afterwards who ended the program: while TAVIK_DEBUG_SIGNALS is "1", every signal that asks
// it to quit is written, with its sender, into "signal.log" beside the log. Safe from any thread.
class SignalForensics {
public:
    static bool isWanted();

    // From here on signals are written down, when that is wanted.
    static void install();

    // A signal that arrived; nothing before `install`.
    static void record(const siginfo_t& signal);
};

} // namespace tavik
