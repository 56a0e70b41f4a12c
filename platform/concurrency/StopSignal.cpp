#include "platform/concurrency/StopSignal.h"

#include <cerrno>
#include <cstdint>
#include <sys/eventfd.h>
#include <system_error>
#include <unistd.h>

namespace tavik {

StopSignal::StopSignal(std::stop_token stop)
    : eventDescriptor(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (eventDescriptor < 0)
        throw std::system_error(errno, std::generic_category(), "eventfd");
    onStop.emplace(std::move(stop), [this] { raise(); });
}

StopSignal::~StopSignal() {
    onStop.reset();
    close(eventDescriptor);
}

void StopSignal::raise() const {
    const std::uint64_t one = 1;
    // Cannot fail on a fresh counter; were it ever full, it is readable, which is all that is
    // asked.
    [[maybe_unused]] const auto written = write(eventDescriptor, &one, sizeof one);
}

} // namespace tavik
