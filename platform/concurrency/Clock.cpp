#include "platform/concurrency/Clock.h"

#include "platform/concurrency/Cancelled.h"

namespace tavik {

namespace {

class SystemClock : public Clock {
public:
    Instant now() const override { return std::chrono::steady_clock::now(); }

    bool waitUntil(std::unique_lock<std::mutex>& lock, std::condition_variable_any& changed,
                   std::stop_token stop, Instant deadline,
                   const std::function<bool()>& ready) override {
        const bool isReady = changed.wait_until(lock, stop, deadline, ready);
        if (!isReady)
            throwIfStopped(stop);
        return isReady;
    }
};

} // namespace

void Clock::sleepFor(Duration duration, std::stop_token stop) {
    std::mutex mutex;
    std::condition_variable_any never;
    std::unique_lock lock(mutex);
    waitUntil(lock, never, stop, now() + duration, [] { return false; });
}

Clock& systemClock() {
    static SystemClock clock;
    return clock;
}

} // namespace tavik
