#include "platform/speech/SpeechServiceStart.h"

#include "platform/concurrency/Cancelled.h"
#include "platform/concurrency/StopSignal.h"
#include "platform/files/FileDescriptor.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <string>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace tavik {

namespace {

constexpr int patience = 2000; // milliseconds

// How the service starts out: it outlives us, so it must not keep our output streams open, nor
// start with the signals blocked that the calling thread blocks.
class Surroundings {
public:
    Surroundings() {
        posix_spawn_file_actions_init(&streams);
        for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
            posix_spawn_file_actions_addopen(&streams, stream, "/dev/null", O_RDWR, 0);
        posix_spawnattr_init(&attributes);
        sigset_t none;
        sigemptyset(&none);
        posix_spawnattr_setsigmask(&attributes, &none);
        posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK);
    }
    ~Surroundings() {
        posix_spawn_file_actions_destroy(&streams);
        posix_spawnattr_destroy(&attributes);
    }
    Surroundings(const Surroundings&) = delete;
    Surroundings& operator=(const Surroundings&) = delete;

    posix_spawn_file_actions_t streams;
    posix_spawnattr_t attributes;
};

// The starter ends as soon as the service listens.
void awaitEnd(pid_t starter, const std::stop_token& stop) {
    const FileDescriptor ended(static_cast<int>(syscall(SYS_pidfd_open, starter, 0)));
    const StopSignal stopped(stop);
    std::array<pollfd, 2> polled{{{ended.get(), POLLIN, 0}, {stopped.descriptor(), POLLIN, 0}}};
    if (!ended || TEMP_FAILURE_RETRY(poll(polled.data(), polled.size(), patience)) <= 0 ||
        polled[0].revents == 0)
        kill(starter, SIGKILL);
    waitpid(starter, nullptr, 0);
    throwIfStopped(stop);
}

} // namespace

void startSpeechService(const std::stop_token& stop) {
    std::string program = "speech-dispatcher";
    std::string option = "--spawn";
    char* const arguments[] = {program.data(), option.data(), nullptr};
    const Surroundings surroundings;
    pid_t starter = 0;
    if (posix_spawnp(&starter, program.c_str(), &surroundings.streams, &surroundings.attributes,
                     arguments, environ) == 0)
        awaitEnd(starter, stop);
}

} // namespace tavik
