#pragma once

#include "platform/concurrency/SerialQueue.h"

#include <functional>
#include <stop_token>
#include <string>

namespace tavik {

// A serial queue for work that nobody waits for and that need not be done when the program ends:
// destruction stops the job that runs, drops those that wait, and joins. Safe from any thread.
class BackgroundJobs {
public:
    // May throw Cancelled, and nothing else.
    using Job = std::function<void(std::stop_token)>;

    explicit BackgroundJobs(std::string name);
    ~BackgroundJobs();
    BackgroundJobs(const BackgroundJobs&) = delete;
    BackgroundJobs& operator=(const BackgroundJobs&) = delete;

    // Returns at once.
    void async(Job job);

private:
    std::stop_source ending;
    SerialQueue queue; // last: its jobs look at the above
};

} // namespace tavik
