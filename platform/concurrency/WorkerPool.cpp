#include "platform/concurrency/WorkerPool.h"

#include "platform/concurrency/ThreadName.h"

#include <system_error>
#include <utility>

namespace tavik {

WorkerPool::WorkerPool(std::string poolName, std::size_t most, std::chrono::milliseconds idle)
    : name(std::move(poolName))
    , maximumThreads(most)
    , idleTime(idle) {}

WorkerPool::~WorkerPool() {
    ending.request_stop();
    Workers remaining;
    {
        const std::lock_guard lock(mutex);
        waiting.clear();
        changed.notify_all();
    }
    std::unique_lock lock(mutex);
    changed.wait(lock, [this] { return workers.empty(); });
    remaining.swap(ended);
    lock.unlock();
    for (std::thread& worker : remaining)
        worker.join();
}

void WorkerPool::async(Job job) {
    Workers toJoin;
    {
        const std::lock_guard lock(mutex);
        waiting.push_back(std::move(job));
        if (waiting.size() > idleWorkers && workers.size() < maximumThreads)
            addWorkerLocked();
        toJoin.swap(ended);
    }
    changed.notify_one();
    for (std::thread& worker : toJoin)
        worker.join();
}

// Without a thread for one more worker the job waits for those that there are.
void WorkerPool::addWorkerLocked() {
    workers.emplace_back();
    const auto self = std::prev(workers.end());
    try {
        *self = std::thread([this, self] { work(self); });
    } catch (const std::system_error&) {
        workers.erase(self);
        if (workers.empty())
            throw;
    }
}

void WorkerPool::work(Workers::iterator self) {
    nameThisThread(name);
    std::unique_lock lock(mutex);
    while (waitForJob(lock)) {
        Job job = std::move(waiting.front());
        waiting.pop_front();
        lock.unlock();
        job(ending.get_token());
        job = nullptr; // what the job holds is released before the lock is taken again
        lock.lock();
    }
    ended.splice(ended.end(), workers, self);
    changed.notify_all();
}

// False when this worker is to end.
bool WorkerPool::waitForJob(std::unique_lock<std::mutex>& lock) {
    ++idleWorkers;
    changed.wait_for(lock, idleTime,
                     [this] { return !waiting.empty() || ending.stop_requested(); });
    --idleWorkers;
    return !waiting.empty() && !ending.stop_requested();
}

} // namespace tavik
