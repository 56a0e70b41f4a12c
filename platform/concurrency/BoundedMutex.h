#pragma once

#include "platform/concurrency/Cancelled.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <stop_token>

namespace tavik {

// A mutex for which one can wait for a while only, or until a stop is requested. It does what
// std::timed_mutex does, whose timed wait g++ 12's thread sanitizer does not see.
class BoundedMutex {
public:
    void lock() {
        std::unique_lock guard(mutex);
        freed.wait(guard, [this] { return !isHeld; });
        isHeld = true;
    }

    // Throws Cancelled.
    std::unique_lock<BoundedMutex> lockUnlessStopped(const std::stop_token& stop) {
        std::unique_lock guard(mutex);
        if (!freed.wait(guard, stop, [this] { return !isHeld; }))
            throw Cancelled();
        isHeld = true;
        return {*this, std::adopt_lock};
    }

    bool try_lock_for(std::chrono::milliseconds patience) {
        std::unique_lock guard(mutex);
        if (!freed.wait_for(guard, patience, [this] { return !isHeld; }))
            return false;
        isHeld = true;
        return true;
    }

    void unlock() {
        const std::lock_guard guard(mutex);
        isHeld = false;
        freed.notify_one();
    }

private:
    std::mutex mutex;
    std::condition_variable_any freed;
    bool isHeld = false; // guarded by mutex
};

} // namespace tavik
