#pragma once

#include <functional>
#include <thread>

namespace tavik {

// Turns SIGTERM, SIGINT and SIGHUP into a clean quit. Make it before any other thread starts, since
// it blocks the signals for all that follow.
class QuitSignals {
public:
    // `quit` is called, on a thread of this object's own, for each of the signals.
    explicit QuitSignals(std::function<void()> quit);

private:
    std::jthread waiter;
};

} // namespace tavik
