#pragma once

#include <exception>
#include <stop_token>

namespace tavik {

// Thrown by a blocking call whose stop token was requested to stop. It is not an error: it passes
// through every layer unchanged and is never turned into a sentence for the user.
class Cancelled : public std::exception {
public:
    const char* what() const noexcept override { return "cancelled"; }
};

inline void throwIfStopped(const std::stop_token& stop) {
    if (stop.stop_requested())
        throw Cancelled();
}

} // namespace tavik
