#pragma once

#include <chrono>
#include <functional>
#include <thread>

namespace tavik {

// Whether `condition` holds now or at some time within `patience`.
inline bool eventually(const std::function<bool()>& condition,
                       std::chrono::milliseconds patience = std::chrono::seconds(20)) {
    const auto deadline = std::chrono::steady_clock::now() + patience;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

} // namespace tavik
