#include "platform/desktop/BoundedCall.h"

#include "platform/concurrency/Clock.h"
#include "platform/concurrency/Locked.h"

#include <condition_variable>
#include <csignal>
#include <deque>
#include <exception>
#include <glib.h>
#include <mutex>
#include <utility>

namespace tavik {

namespace {

// As many calls may be stuck before the next ones wait for their limit only.
constexpr int callsAtOnce = 8;

// xcb writes to a display server that has ended like anybody, and the signal would end us, too. The
// thread is the pool's, so nobody misses it.
void holdBrokenPipes() {
    sigset_t brokenPipe;
    sigemptyset(&brokenPipe);
    sigaddset(&brokenPipe, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &brokenPipe, nullptr);
}

// Shared between the caller and the thread that works for it. That thread comes from GLib's pool,
// since work that is stuck can neither be ended nor joined.
class Call {
public:
    explicit Call(std::function<void(std::stop_token)> job)
        : work(std::move(job)) {}

    static void start(std::shared_ptr<Call> call) {
        static GThreadPool* const pool =
            g_thread_pool_new(runNext, nullptr, callsAtOnce, FALSE, nullptr);
        waiting().with([&](auto& calls) { calls.push_back(std::move(call)); });
        g_thread_pool_push(pool, pool, nullptr); // one more to be run
    }

    bool await(std::chrono::milliseconds limit, std::stop_token stop) {
        std::unique_lock lock(mutex);
        const bool hasEnded = systemClock().waitUntil(
            lock, ended, std::move(stop), systemClock().now() + limit, [this] { return isDone; });
        if (failure)
            std::rethrow_exception(std::exchange(failure, nullptr));
        return hasEnded;
    }

    void abandon() { abandoned.request_stop(); }

private:
    using Calls = std::deque<std::shared_ptr<Call>>;

    // Never destroyed: a stuck call may outlive the program's last line.
    static Locked<Calls>& waiting() {
        static auto& calls = *new Locked<Calls>;
        return calls;
    }

    static void runNext(gpointer, gpointer) {
        const auto call = waiting().with([](Calls& calls) {
            auto next = std::move(calls.front());
            calls.pop_front();
            return next;
        });
        holdBrokenPipes();
        if (!call->abandoned.stop_requested())
            call->run();
    }

    void run() {
        std::exception_ptr thrown;
        try {
            work(abandoned.get_token());
        } catch (...) {
            thrown = std::current_exception();
        }
        const std::lock_guard lock(mutex);
        failure = std::move(thrown);
        isDone = true;
        ended.notify_all();
    }

    const std::function<void(std::stop_token)> work;
    std::stop_source abandoned;
    std::mutex mutex;
    std::condition_variable_any ended;
    bool isDone = false;        // guarded by mutex
    std::exception_ptr failure; // guarded by mutex
};

} // namespace

void runAlone(std::function<void(std::stop_token)> work) {
    Call::start(std::make_shared<Call>(std::move(work)));
}

bool runWithin(std::chrono::milliseconds limit, std::stop_token stop,
               std::function<void(std::stop_token)> work) {
    const auto call = std::make_shared<Call>(std::move(work));
    const std::shared_ptr<void> abandonAtEnd(nullptr, [call](void*) { call->abandon(); });
    Call::start(call);
    return call->await(limit, std::move(stop));
}

} // namespace tavik
