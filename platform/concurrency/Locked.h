#pragma once

#include <mutex>
#include <utility>

namespace tavik {

// A value that can only be reached with its lock held. Keep the critical sections short: the audio
// thread may be waiting.
template<typename Value>
class Locked {
public:
    template<typename... Arguments>
    explicit Locked(Arguments&&... arguments)
        : value(std::forward<Arguments>(arguments)...) {}

    template<typename Use>
    decltype(auto) with(Use&& use) {
        const std::lock_guard lock(mutex);
        return std::forward<Use>(use)(value);
    }

private:
    std::mutex mutex;
    Value value;
};

} // namespace tavik
