#include "platform/speech/SpeechServiceStart.h"

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
void awaitEnd(pid_t starter) {
    pollfd ended{static_cast<int>(syscall(SYS_pidfd_open, starter, 0)), POLLIN, 0};
    if (ended.fd < 0 || TEMP_FAILURE_RETRY(poll(&ended, 1, patience)) <= 0)
        kill(starter, SIGKILL);
    if (ended.fd >= 0)
        close(ended.fd);
    waitpid(starter, nullptr, 0);
}

} // namespace

void startSpeechService() {
    std::string program = "speech-dispatcher";
    std::string option = "--spawn";
    char* const arguments[] = {program.data(), option.data(), nullptr};
    const Surroundings surroundings;
    pid_t starter = 0;
    if (posix_spawnp(&starter, program.c_str(), &surroundings.streams, &surroundings.attributes,
                     arguments, environ) == 0)
        awaitEnd(starter);
}

} // namespace tavik
