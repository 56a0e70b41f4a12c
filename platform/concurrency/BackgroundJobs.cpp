#include "platform/concurrency/BackgroundJobs.h"

#include "platform/concurrency/Cancelled.h"

#include <utility>

namespace tavik {

BackgroundJobs::BackgroundJobs(std::string name)
    : queue(std::move(name)) {}

BackgroundJobs::~BackgroundJobs() {
    ending.request_stop();
}

void BackgroundJobs::async(Job job) {
    queue.async([job = std::move(job), stop = ending.get_token()] {
        try {
            if (!stop.stop_requested())
                job(stop);
        } catch (const Cancelled&) {
            // The program ends.
        }
    });
}

} // namespace tavik
