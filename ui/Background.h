#pragma once

#include "platform/concurrency/Cancelled.h"
#include "platform/concurrency/MainQueue.h"
#include "platform/concurrency/SerialQueue.h"

#include <stop_token>
#include <utility>

namespace tavik {

// Work off the main thread for what is on the screen. Only the newest request counts: an older one
// is stopped, and its result dropped. Belongs to the main thread; destruction stops and waits.
class Background {
public:
    Background() = default;
    ~Background() { forget(); }
    Background(const Background&) = delete;
    Background& operator=(const Background&) = delete;

    // Runs `work(stop)` on another thread, which may throw Cancelled, and then `done(result)` on
    // the main thread.
    template<typename Work, typename Done>
    void ask(Work work, Done done) {
        forget();
        current = std::stop_source();
        queue.async([work = std::move(work), done = std::move(done), stop = current.get_token()] {
            try {
                if (!stop.stop_requested())
                    deliver(work(stop), done, stop);
            } catch (const Cancelled&) {
                // Nobody wants it any more.
            }
        });
    }

    // Drops what is under way.
    void forget() { current.request_stop(); }

private:
    template<typename Result, typename Done>
    static void deliver(Result result, const Done& done, std::stop_token stop) {
        MainQueue::shared().async([=] {
            if (!stop.stop_requested())
                done(result);
        });
    }

    std::stop_source current{std::nostopstate};
    SerialQueue queue{"ai.tavik.ui"};
};

} // namespace tavik
