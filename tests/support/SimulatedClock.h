#pragma once

#include "platform/concurrency/Clock.h"

#include <set>
#include <vector>

namespace tavik {

// A clock whose time passes only when everybody waits: as soon as as many threads as were announced
// sleep on it, it jumps to the earliest of their deadlines. So a schedule of minutes runs in
// milliseconds and always in the same order of time. A wait that is ready, or stopped, ends without
// any time passing.
class SimulatedClock : public Clock {
public:
    // `sleepers`: how many threads must be waiting before time moves.
    explicit SimulatedClock(std::size_t sleepers = 1);

    Instant now() const override;
    bool waitUntil(std::unique_lock<std::mutex>& lock, std::condition_variable_any& changed,
                   std::stop_token stop, Instant deadline,
                   const std::function<bool()>& ready) override;

    // How many threads must wait before time moves, from now on.
    void setSleepers(std::size_t count);
    // Moves time by hand.
    void advance(Duration duration);
    Duration elapsed() const { return now() - Instant{}; }

private:
    void jumpWhenAllSleep();

    mutable std::mutex mutex;
    std::size_t expectedSleepers;     // guarded by mutex
    Instant time{};                   // guarded by mutex
    std::multiset<Instant> deadlines; // guarded by mutex; of the threads that wait
};

} // namespace tavik
