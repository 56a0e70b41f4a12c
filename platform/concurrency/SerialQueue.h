#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

namespace tavik {

// Runs jobs one at a time on a thread of its own, in the order given. Safe to call from any thread.
// Destruction runs what is waiting and then joins, so that no line of a log is lost.
class SerialQueue {
public:
    using Job = std::function<void()>;

    explicit SerialQueue(std::string name);
    ~SerialQueue();
    SerialQueue(const SerialQueue&) = delete;
    SerialQueue& operator=(const SerialQueue&) = delete;

    // Enqueues `job` and returns at once. The job must not throw.
    void async(Job job);

    // Runs `job` on the queue and waits for it; what it throws is thrown here. Must not be called
    // from a job of the same queue, which would wait for itself.
    void sync(const Job& job);

private:
    void run();

    const std::string name;
    std::mutex mutex;
    std::condition_variable wake;
    std::deque<Job> waiting; // guarded by mutex
    bool closing = false;    // guarded by mutex
    std::thread worker;      // last: it uses all of the above
};

} // namespace tavik
