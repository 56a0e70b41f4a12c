#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <stop_token>
#include <utility>

namespace tavik {

// Runs `work` on another thread. Returns at once. It must not throw.
void runAlone(std::function<void(std::stop_token)> work);

// Runs `work` on another thread and returns true when it has ended within `limit`. Throws what
// `work` throws, and Cancelled as soon as `stop` is requested.
bool runWithin(std::chrono::milliseconds limit, std::stop_token stop,
               std::function<void(std::stop_token)> work);

// The same for work with a result; nothing when it takes too long. This is for calls into the
// desktop that nothing can interrupt, such as one to a display server that has stopped. Work that
// nobody waits for any more is told so through its token and goes on alone, so it must own whatever
// it uses. It is spared the signal SIGPIPE.
template<typename Result, typename Work>
std::optional<Result> callWithin(std::chrono::milliseconds limit, std::stop_token stop, Work work) {
    const auto result = std::make_shared<std::optional<Result>>();
    const bool hasEnded = runWithin(limit, std::move(stop),
                                    [result, work = std::move(work)](std::stop_token abandoned) {
                                        *result = work(std::move(abandoned));
                                    });
    return hasEnded ? std::move(*result) : std::nullopt;
}

} // namespace tavik
