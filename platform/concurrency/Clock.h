#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <stop_token>

namespace tavik {

// Where time comes from. Everything that waits for time to pass takes a Clock, so that tests can
// replay minutes in milliseconds. Safe to use from any thread.
class Clock {
public:
    using Instant = std::chrono::steady_clock::time_point;
    using Duration = std::chrono::steady_clock::duration;

    virtual ~Clock() = default;

    virtual Instant now() const = 0;

    // Blocks until `ready()` holds or `deadline` has passed, and returns `ready()`. The caller
    // holds `lock`; `changed` is notified when `ready` may have changed. Throws Cancelled when
    // `stop` is requested first.
    virtual bool waitUntil(std::unique_lock<std::mutex>& lock, std::condition_variable_any& changed,
                           std::stop_token stop, Instant deadline,
                           const std::function<bool()>& ready) = 0;

    // Throws Cancelled as soon as `stop` is requested.
    void sleepFor(Duration duration, std::stop_token stop);
};

// The machine's monotonic clock.
Clock& systemClock();

} // namespace tavik
