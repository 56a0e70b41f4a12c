#include "tests/support/SimulatedClock.h"

#include "platform/concurrency/Cancelled.h"

namespace tavik {

SimulatedClock::SimulatedClock(std::size_t sleepers)
    : expectedSleepers(sleepers) {}

Clock::Instant SimulatedClock::now() const {
    const std::lock_guard guard(mutex);
    return time;
}

bool SimulatedClock::waitUntil(std::unique_lock<std::mutex>& lock,
                               std::condition_variable_any& changed, std::stop_token stop,
                               Instant deadline, const std::function<bool()>& ready) {
    std::multiset<Instant>::iterator entry;
    {
        const std::lock_guard guard(mutex);
        entry = deadlines.insert(deadline);
        jumpWhenAllSleep();
    }
    // Sleepers look at the time again every real millisecond: simple, and fast enough for minutes.
    while (!ready() && !stop.stop_requested() && now() < deadline) {
        changed.wait_for(lock, stop, std::chrono::milliseconds(1), ready);
        const std::lock_guard guard(mutex);
        jumpWhenAllSleep();
    }
    {
        const std::lock_guard guard(mutex);
        deadlines.erase(entry);
    }
    const bool isReady = ready();
    if (!isReady)
        throwIfStopped(stop);
    return isReady;
}

void SimulatedClock::setSleepers(std::size_t count) {
    const std::lock_guard guard(mutex);
    expectedSleepers = count;
}

void SimulatedClock::advance(Duration duration) {
    const std::lock_guard guard(mutex);
    time += duration;
}

void SimulatedClock::jumpWhenAllSleep() {
    if (deadlines.size() < expectedSleepers)
        return;
    // A sleeper whose deadline has come still has to wake before time may move again.
    time = std::max(time, *deadlines.begin());
}

} // namespace tavik
