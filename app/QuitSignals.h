#pragma once

#include <functional>
#include <thread>

namespace tavik {

// Turns SIGTERM, SIGINT and SIGHUP into a clean quit. Make it before any other thread starts, so
// that the signals interrupt none of them; those that libraries have started by then do no harm.
class QuitSignals {
public:
    // `quit` is called, on a thread of this object's own, for each of the signals.
    // Throws std::system_error when the system has no descriptor left.
    explicit QuitSignals(std::function<void()> quit);

private:
    std::jthread waiter;
};

} // namespace tavik
