#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>

namespace tavik {

// Jobs for the main thread. In a headless run `runLoop` is the main thread's loop; under a
// toolkit's event loop the toolkit sets a waker, and when woken calls `drain` and then looks at
// `isQuitting`. `async` and `quit` are safe from any thread; the rest belongs to the main thread.
class MainQueue {
public:
    using Job = std::function<void()>;

    static MainQueue& shared();

    void async(Job job);

    // Runs jobs until `quit`. Jobs posted before the quit have run when it returns.
    void runLoop();
    void quit();

    // Runs what is waiting now.
    void drain();
    bool isQuitting();
    // `waker` is called after each `async` and `quit`, on the caller's thread, and must be safe
    // there.
    void setWaker(std::function<void()> waker);

private:
    void callWaker();

    std::mutex mutex;
    std::condition_variable wake;
    std::deque<Job> waiting;           // guarded by mutex
    std::function<void()> wakeToolkit; // guarded by mutex
    bool quitting = false;             // guarded by mutex
};

} // namespace tavik
