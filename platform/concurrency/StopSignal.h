#pragma once

#include <functional>
#include <optional>
#include <stop_token>

namespace tavik {

// A descriptor that becomes readable when a stop is requested, for waits in poll(2).
class StopSignal {
public:
    // Throws std::system_error when the system has no descriptor left.
    explicit StopSignal(std::stop_token stop);
    ~StopSignal();
    StopSignal(const StopSignal&) = delete;
    StopSignal& operator=(const StopSignal&) = delete;

    int descriptor() const { return eventDescriptor; }

private:
    void raise() const;

    int eventDescriptor;
    // Last: it is gone before the descriptor that it writes to.
    std::optional<std::stop_callback<std::function<void()>>> onStop;
};

} // namespace tavik
