#pragma once

#include "platform/concurrency/Clock.h"

#include <functional>
#include <memory>

namespace tavik {

// Simulated time for a whole voice loop. Every thread that has slept on the clock takes part in it
// until it ends, and time passes only while all of them sleep and none has been asked to stop: so a
// schedule runs in the same order every time, and as fast as its threads can work.
class WorldClock : public Clock {
public:
    // `tick` is called at every `period` of simulated time, while all threads sleep.
    WorldClock(Duration period, std::function<void()> tick);
    ~WorldClock() override;

    Instant now() const override;
    bool waitUntil(std::unique_lock<std::mutex>& lock, std::condition_variable_any& changed,
                   std::stop_token stop, Instant deadline,
                   const std::function<bool()>& ready) override;

    // The calling thread takes part from now on, before its first sleep.
    void join();
    std::size_t threads() const;
    // Waits, in real time, until so many threads take part: a thread that was only just started
    // has not slept yet. Gives up soon.
    void awaitThreads(std::size_t count) const;

private:
    struct Shared;
    struct Sleep;
    struct Memberships;

    bool passTime(std::unique_lock<std::mutex>& lock);

    const Duration period;
    const std::function<void()> tick;
    std::shared_ptr<Shared> shared;
};

} // namespace tavik
