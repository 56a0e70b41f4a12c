#include "platform/concurrency/MainJobs.h"

#include "platform/concurrency/MainQueue.h"

#include <utility>

namespace tavik {

void MainJobs::async(std::function<void()> job) const {
    MainQueue::shared().async([alive = std::weak_ptr(life), job = std::move(job)] {
        if (!alive.expired())
            job();
    });
}

} // namespace tavik
