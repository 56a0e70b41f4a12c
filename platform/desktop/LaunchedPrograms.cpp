#include "platform/desktop/LaunchedPrograms.h"

#include "platform/concurrency/StopSignal.h"
#include "platform/concurrency/ThreadName.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

namespace tavik {

namespace {

// How often programs without a descriptor are looked at, in milliseconds.
constexpr int blindPause = 1000;

int openProcess(pid_t process) {
    return static_cast<int>(syscall(SYS_pidfd_open, process, 0));
}

int makeEvent() {
    const int event = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (event < 0)
        throw std::system_error(errno, std::generic_category(), "eventfd");
    return event;
}

} // namespace

LaunchedPrograms::LaunchedPrograms()
    : wake(makeEvent()) {}

LaunchedPrograms::~LaunchedPrograms() {
    if (reaper.joinable()) {
        reaper.request_stop();
        reaper.join();
    }
    for (const Program& program : programs)
        close(program.ended);
    close(wake);
}

std::future<int> LaunchedPrograms::adopt(pid_t process) {
    const std::lock_guard lock(mutex);
    programs.push_back({process, openProcess(process), {}});
    auto status = programs.back().status.get_future();
    if (!reaper.joinable())
        reaper = std::jthread([this](std::stop_token stop) { reap(std::move(stop)); });
    eventfd_write(wake, 1);
    return status;
}

void LaunchedPrograms::reap(std::stop_token stop) {
    nameThisThread("ai.tavik.launched");
    const StopSignal stopSignal(stop);
    while (!stop.stop_requested()) {
        takeEnded();
        awaitSomeEnd(stopSignal.descriptor());
    }
}

void LaunchedPrograms::awaitSomeEnd(int stopDescriptor) {
    std::vector<pollfd> events = {{stopDescriptor, POLLIN, 0}, {wake, POLLIN, 0}};
    int patience = -1;
    {
        const std::lock_guard lock(mutex);
        for (const Program& program : programs) {
            events.push_back({program.ended, POLLIN, 0});
            patience = program.ended < 0 ? blindPause : patience;
        }
    }
    poll(events.data(), events.size(), patience);
    eventfd_t ignored = 0;
    eventfd_read(wake, &ignored);
}

void LaunchedPrograms::takeEnded() {
    const std::lock_guard lock(mutex);
    std::erase_if(programs, [](Program& program) {
        int status = 0;
        if (waitpid(program.process, &status, WNOHANG) == 0)
            return false;
        close(program.ended);
        program.status.set_value(status);
        return true;
    });
}

} // namespace tavik
