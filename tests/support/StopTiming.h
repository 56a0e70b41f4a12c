#pragma once

#include "platform/concurrency/Cancelled.h"

#include <chrono>
#include <functional>
#include <gtest/gtest.h>
#include <stop_token>
#include <thread>

namespace tavik {

// Runs `work`, requests a stop once it has been waiting for `delay`, and returns the time from the
// request to its Cancelled. Fails the test when it ends in any other way.
inline std::chrono::milliseconds
timeToCancel(const std::function<void(std::stop_token)>& work,
             std::chrono::milliseconds delay = std::chrono::milliseconds(100)) {
    using std::chrono::steady_clock;
    std::stop_source source;
    steady_clock::time_point requested;
    const std::jthread requester([&] {
        std::this_thread::sleep_for(delay);
        requested = steady_clock::now();
        source.request_stop();
    });
    try {
        work(source.get_token());
        ADD_FAILURE() << "ended without being cancelled";
    } catch (const Cancelled&) {
        EXPECT_TRUE(source.stop_requested());
        return std::chrono::duration_cast<std::chrono::milliseconds>(steady_clock::now() -
                                                                     requested);
    }
    return std::chrono::hours(1);
}

} // namespace tavik
