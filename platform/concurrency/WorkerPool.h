#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <list>
#include <mutex>
#include <stop_token>
#include <string>
#include <thread>

namespace tavik {

// Runs jobs side by side. Its threads are started when there is work for them, up to a limit beyond
// which jobs wait, and end when there was none for a while. Destruction stops the jobs that run,
// drops those that wait, and joins. Safe from any thread.
class WorkerPool {
public:
    // Must not throw.
    using Job = std::function<void(std::stop_token)>;

    WorkerPool(std::string name, std::size_t maximumThreads,
               std::chrono::milliseconds idleTime = std::chrono::seconds(5));
    ~WorkerPool();
    WorkerPool(const WorkerPool&) = delete;
    WorkerPool& operator=(const WorkerPool&) = delete;

    // Returns at once. Throws std::system_error when the system has no thread for the first worker.
    void async(Job job);

private:
    using Workers = std::list<std::thread>;

    void addWorkerLocked();
    void work(Workers::iterator self);
    bool waitForJob(std::unique_lock<std::mutex>& lock);

    const std::string name;
    const std::size_t maximumThreads;
    const std::chrono::milliseconds idleTime;
    std::stop_source ending;

    std::mutex mutex;
    std::condition_variable changed;
    // The rest is guarded by mutex.
    std::deque<Job> waiting;
    std::size_t idleWorkers = 0;
    Workers workers;
    Workers ended; // to be joined
};

} // namespace tavik
