#pragma once

#include "platform/concurrency/Cancelled.h"
#include "platform/http/HttpSession.h"

#include <condition_variable>
#include <mutex>
#include <optional>
#include <stop_token>
#include <variant>

namespace tavik {

// Where the thread that asked meets the outcome that another thread brings.
class PendingResponse {
public:
    using Outcome = std::variant<HttpResponse, TransportError, Cancelled>;

    // The first outcome counts.
    void settle(Outcome result);

    // Blocks for the outcome and takes it; call it once. Nothing when `stop` is requested first.
    std::optional<Outcome> wait(std::stop_token stop);

private:
    std::mutex mutex;
    std::condition_variable_any settled;
    std::optional<Outcome> outcome; // guarded by mutex
};

} // namespace tavik
