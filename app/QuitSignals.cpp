#include "app/QuitSignals.h"

#include "app/SignalForensics.h"
#include "platform/concurrency/StopSignal.h"
#include "platform/concurrency/ThreadName.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <system_error>
#include <unistd.h>

namespace tavik {

namespace {

constexpr std::array quitSignals = {SIGTERM, SIGINT, SIGHUP};

// From the handler to the waiter; open to the end of the process, as a signal may come at any time.
std::array<int, 2> signalPipe = {-1, -1};

sigset_t allQuitSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : quitSignals)
        sigaddset(&signals, signal);
    return signals;
}

void passOn(int, siginfo_t* signal, void*) {
    const int error = errno;
    [[maybe_unused]] const auto written = write(signalPipe[1], signal, sizeof *signal);
    errno = error;
}

// What the process was started to ignore, as by nohup, it goes on ignoring.
void handle(int signal) {
    struct sigaction before {};
    sigaction(signal, nullptr, &before);
    if (before.sa_handler == SIG_IGN)
        return;
    struct sigaction ours {};
    ours.sa_sigaction = passOn;
    ours.sa_flags = SA_SIGINFO | SA_RESTART;
    ours.sa_mask = allQuitSignals();
    sigaction(signal, &ours, nullptr);
}

// Only the waiter is interrupted by the signals, and the threads that libraries started while they
// were loaded. For those a descriptor of blocked signals would not do: they would end the process.
void openSignals() {
    if (signalPipe[0] < 0 && pipe2(signalPipe.data(), O_CLOEXEC | O_NONBLOCK) < 0)
        throw std::system_error(errno, std::generic_category(), "the signals");
    const sigset_t signals = allQuitSignals();
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    for (const int signal : quitSignals)
        handle(signal);
}

void waitForSignals(const std::function<void()>& quit, std::stop_token stop) {
    nameThisThread("ai.tavik.signal");
    const sigset_t signals = allQuitSignals();
    pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);
    const StopSignal stopSignal(stop);
    std::array<pollfd, 2> polled{pollfd{signalPipe[0], POLLIN, 0},
                                 pollfd{stopSignal.descriptor(), POLLIN, 0}};
    while (!stop.stop_requested()) {
        poll(polled.data(), polled.size(), -1);
        siginfo_t signal{};
        if (read(signalPipe[0], &signal, sizeof signal) != sizeof signal)
            continue;
        SignalForensics::record(signal);
        quit();
    }
}

} // namespace

QuitSignals::QuitSignals(std::function<void()> quit) {
    openSignals();
    waiter = std::jthread(
        [quit = std::move(quit)](std::stop_token stop) { waitForSignals(quit, std::move(stop)); });
}

} // namespace tavik
