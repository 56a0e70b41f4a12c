#include "app/QuitSignals.h"

#include "app/SignalForensics.h"
#include "platform/concurrency/StopSignal.h"
#include "platform/concurrency/ThreadName.h"

#include <array>
#include <csignal>
#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

namespace tavik {

namespace {

int openSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGTERM, SIGINT, SIGHUP})
        sigaddset(&signals, signal);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    return signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK);
}

void waitForSignals(int descriptor, const std::function<void()>& quit, std::stop_token stop) {
    nameThisThread("ai.tavik.signal");
    const StopSignal stopSignal(stop);
    std::array<pollfd, 2> polled{pollfd{descriptor, POLLIN, 0},
                                 pollfd{stopSignal.descriptor(), POLLIN, 0}};
    while (!stop.stop_requested()) {
        poll(polled.data(), polled.size(), -1);
        signalfd_siginfo signal{};
        if (read(descriptor, &signal, sizeof signal) != sizeof signal)
            continue;
        SignalForensics::record(signal);
        quit();
    }
    close(descriptor);
}

} // namespace

QuitSignals::QuitSignals(std::function<void()> quit) {
    const int descriptor = openSignals();
    waiter = std::jthread([descriptor, quit = std::move(quit)](std::stop_token stop) {
        waitForSignals(descriptor, quit, std::move(stop));
    });
}

} // namespace tavik
