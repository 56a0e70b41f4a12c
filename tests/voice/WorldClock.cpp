#include "tests/voice/WorldClock.h"

#include "platform/concurrency/Cancelled.h"

#include <algorithm>
#include <thread>

using namespace std::chrono_literals;

namespace tavik {

// Shared with the threads that take part, since they may outlive the clock.
struct WorldClock::Shared {
    mutable std::mutex mutex;
    Instant time{};               // guarded by mutex
    Instant nextTick{};           // guarded by mutex
    std::vector<Sleep*> sleepers; // guarded by mutex
    std::size_t members = 0;      // guarded by mutex
    bool isPassing = false;       // guarded by mutex

    void setTime(Instant instant) {
        const std::lock_guard guard(mutex);
        time = instant;
    }
};

struct WorldClock::Sleep {
    Sleep(Shared& clock, Instant until, std::condition_variable_any& notified,
          std::stop_token stopToken)
        : shared(clock)
        , deadline(until)
        , changed(notified)
        , stop(std::move(stopToken)) {
        const std::lock_guard guard(shared.mutex);
        shared.sleepers.push_back(this);
    }
    ~Sleep() {
        const std::lock_guard guard(shared.mutex);
        std::erase(shared.sleepers, this);
    }
    Sleep(const Sleep&) = delete;
    Sleep& operator=(const Sleep&) = delete;

    Shared& shared;
    const Instant deadline;
    std::condition_variable_any& changed;
    const std::stop_token stop;
};

// The clocks that a thread takes part in; it leaves them when it ends.
struct WorldClock::Memberships {
    ~Memberships() {
        for (const auto& joined : clocks)
            if (const auto clock = joined.lock()) {
                const std::lock_guard guard(clock->mutex);
                --clock->members;
            }
    }

    std::vector<std::weak_ptr<Shared>> clocks;
};

WorldClock::WorldClock(Duration tickPeriod, std::function<void()> onTick)
    : period(tickPeriod)
    , tick(std::move(onTick))
    , shared(std::make_shared<Shared>()) {
    shared->nextTick += period;
}

WorldClock::~WorldClock() = default;

Clock::Instant WorldClock::now() const {
    const std::lock_guard guard(shared->mutex);
    return shared->time;
}

std::size_t WorldClock::threads() const {
    const std::lock_guard guard(shared->mutex);
    return shared->members;
}

void WorldClock::awaitThreads(std::size_t count) const {
    const auto giveUp = std::chrono::steady_clock::now() + 300ms;
    while (threads() < count && std::chrono::steady_clock::now() < giveUp)
        std::this_thread::yield();
}

void WorldClock::join() {
    thread_local Memberships memberships;
    auto& clocks = memberships.clocks;
    std::erase_if(clocks, [](const auto& joined) { return joined.expired(); });
    const bool isMember = std::any_of(clocks.begin(), clocks.end(), [this](const auto& joined) {
        return joined.lock() == shared;
    });
    if (isMember)
        return;
    clocks.push_back(shared);
    const std::lock_guard guard(shared->mutex);
    ++shared->members;
}

bool WorldClock::waitUntil(std::unique_lock<std::mutex>& lock, std::condition_variable_any& changed,
                           std::stop_token stop, Instant deadline,
                           const std::function<bool()>& ready) {
    join();
    const Sleep sleep(*shared, deadline, changed, stop);
    const auto isOver = [&] { return ready() || now() >= deadline; };
    while (!isOver() && !stop.stop_requested())
        if (!passTime(lock))
            // A notification may come in before the wait; then it takes a real millisecond.
            changed.wait_for(lock, stop, 1ms, isOver);
    const bool isReady = ready();
    if (!isReady)
        throwIfStopped(stop);
    return isReady;
}

bool WorldClock::passTime(std::unique_lock<std::mutex>& lock) {
    Instant next;
    Instant tickAt;
    {
        const std::lock_guard guard(shared->mutex);
        if (shared->isPassing || shared->sleepers.size() < shared->members)
            return false;
        next = Instant::max();
        for (const Sleep* sleep : shared->sleepers) {
            if (sleep->stop.stop_requested() || sleep->deadline <= shared->time)
                return false; // it has yet to wake
            next = std::min(next, sleep->deadline);
        }
        shared->isPassing = true;
        tickAt = shared->nextTick;
    }
    // What the tick calls may want the lock that the sleeper holds.
    lock.unlock();
    for (; tickAt <= next; tickAt += period) {
        shared->setTime(tickAt);
        tick();
    }
    lock.lock();
    const std::lock_guard guard(shared->mutex);
    shared->time = next;
    shared->nextTick = tickAt;
    shared->isPassing = false;
    for (const Sleep* sleep : shared->sleepers)
        if (sleep->deadline <= next)
            sleep->changed.notify_all();
    return true;
}

} // namespace tavik
