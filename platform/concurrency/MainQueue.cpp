#include "platform/concurrency/MainQueue.h"

namespace tavik {

MainQueue& MainQueue::shared() {
    static MainQueue queue;
    return queue;
}

void MainQueue::async(Job job) {
    {
        const std::lock_guard lock(mutex);
        waiting.push_back(std::move(job));
    }
    wake.notify_one();
    callWaker();
}

void MainQueue::runLoop() {
    while (true) {
        drain();
        std::unique_lock lock(mutex);
        wake.wait(lock, [this] { return quitting || !waiting.empty(); });
        if (quitting && waiting.empty()) {
            quitting = false;
            return;
        }
    }
}

void MainQueue::quit() {
    {
        const std::lock_guard lock(mutex);
        quitting = true;
    }
    wake.notify_one();
    callWaker();
}

bool MainQueue::isQuitting() {
    const std::lock_guard lock(mutex);
    return quitting;
}

void MainQueue::drain() {
    std::deque<Job> jobs;
    {
        const std::lock_guard lock(mutex);
        jobs.swap(waiting);
    }
    for (Job& job : jobs)
        job();
}

void MainQueue::callWaker() {
    std::function<void()> waker;
    {
        const std::lock_guard lock(mutex);
        waker = wakeToolkit;
    }
    if (waker)
        waker();
}

void MainQueue::setWaker(std::function<void()> waker) {
    const std::lock_guard lock(mutex);
    wakeToolkit = std::move(waker);
}

} // namespace tavik
