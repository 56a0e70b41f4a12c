#pragma once

#include <future>
#include <mutex>
#include <sys/types.h>
#include <thread>
#include <vector>

namespace tavik {

// The programs that we started. They are our children, so they are waited for, as long as this
// exists, lest they remain as zombies when they end; those that still run at the end go on. Safe
// from any thread.
class LaunchedPrograms {
public:
    LaunchedPrograms();
    ~LaunchedPrograms();
    LaunchedPrograms(const LaunchedPrograms&) = delete;
    LaunchedPrograms& operator=(const LaunchedPrograms&) = delete;

    // Looks after `process`, a child that nobody else waits for. Its status, as of waitpid(2),
    // comes when it has ended.
    std::future<int> adopt(pid_t process);

private:
    struct Program {
        pid_t process;
        int ended; // a descriptor that becomes readable; -1 when the system has none left
        std::promise<int> status;
    };

    void reap(std::stop_token stop);
    void awaitSomeEnd(int stopDescriptor);
    void takeEnded();

    const int wake; // a descriptor: look again
    std::mutex mutex;
    std::vector<Program> programs; // guarded by mutex
    std::jthread reaper;           // from the first program on; last: it uses the above
};

} // namespace tavik
