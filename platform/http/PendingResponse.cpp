#include "platform/http/PendingResponse.h"

#include <utility>

namespace tavik {

void PendingResponse::settle(Outcome result) {
    const std::lock_guard lock(mutex);
    if (!outcome)
        outcome.emplace(std::move(result));
    settled.notify_all();
}

std::optional<PendingResponse::Outcome> PendingResponse::wait(std::stop_token stop) {
    std::unique_lock lock(mutex);
    if (!settled.wait(lock, std::move(stop), [this] { return outcome.has_value(); }))
        return std::nullopt;
    return std::move(outcome);
}

} // namespace tavik
