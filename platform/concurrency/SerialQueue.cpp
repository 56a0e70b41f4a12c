#include "platform/concurrency/SerialQueue.h"

#include "platform/concurrency/ThreadName.h"

#include <cassert>
#include <future>

namespace tavik {

SerialQueue::SerialQueue(std::string queueName)
    : name(std::move(queueName))
    , worker([this] { run(); }) {}

SerialQueue::~SerialQueue() {
    {
        const std::lock_guard lock(mutex);
        closing = true;
    }
    wake.notify_one();
    worker.join();
}

void SerialQueue::async(Job job) {
    {
        const std::lock_guard lock(mutex);
        waiting.push_back(std::move(job));
    }
    wake.notify_one();
}

void SerialQueue::sync(const Job& job) {
    assert(std::this_thread::get_id() != worker.get_id() &&
           "a job of a queue waits for that queue");
    std::packaged_task<void()> task(job);
    async([&task] { task(); });
    task.get_future().get();
}

void SerialQueue::run() {
    nameThisThread(name);
    std::unique_lock lock(mutex);
    while (true) {
        wake.wait(lock, [this] { return closing || !waiting.empty(); });
        if (waiting.empty())
            return;
        Job job = std::move(waiting.front());
        waiting.pop_front();
        lock.unlock();
        job();
        job = nullptr; // what the job holds is released before the lock is taken again
        lock.lock();
    }
}

} // namespace tavik
