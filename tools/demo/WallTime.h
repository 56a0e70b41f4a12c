#pragma once

#include <chrono>

namespace tavik::demo {

// The time on the clock that tavik's log, the recordings and the model share.
using WallTime = std::chrono::system_clock::time_point;

inline double secondsBetween(WallTime from, WallTime to) {
    return std::chrono::duration<double>(to - from).count();
}

inline WallTime after(WallTime time, double seconds) {
    return time +
           std::chrono::duration_cast<WallTime::duration>(std::chrono::duration<double>(seconds));
}

} // namespace tavik::demo
