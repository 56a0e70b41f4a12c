#pragma once

#include <chrono>
#include <future>
#include <stop_token>
#include <thread>
#include <utility>

namespace tavik {

// A piece of work on a thread of its own that can be cancelled and whose result, or exception, is
// collected once. Destruction cancels and joins.
template<typename Result>
class Task {
public:
    template<typename Work>
    explicit Task(Work work)
        : Task(std::packaged_task<Result(std::stop_token)>(std::move(work))) {}

    void cancel() { thread.request_stop(); }

    bool isDone() const {
        return result.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
    }

    // Waits for the end and returns the result or throws what the work threw; Cancelled included.
    Result get() { return result.get(); }

    // Forwards a stop request of `stop` to this task for as long as the returned object lives.
    auto cancelWith(std::stop_token stop) {
        return std::stop_callback(std::move(stop), [this] { cancel(); });
    }

private:
    explicit Task(std::packaged_task<Result(std::stop_token)> work)
        : result(work.get_future())
        , thread(std::move(work)) {}

    std::future<Result> result;
    std::jthread thread; // last: it joins before the result goes
};

} // namespace tavik
