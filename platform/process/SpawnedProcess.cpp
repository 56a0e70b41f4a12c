#include "platform/process/SpawnedProcess.h"

#include "platform/process/TextPointers.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <fmt/format.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <system_error>

namespace tavik {

namespace {

struct Pipe {
    Pipe() {
        int ends[2];
        if (pipe2(ends, O_CLOEXEC) != 0)
            throw std::system_error(errno, std::generic_category());
        read = FileDescriptor(ends[0]);
        write = FileDescriptor(ends[1]);
    }

    FileDescriptor read;
    FileDescriptor write;
};

constexpr int bySignal = 128; // as shells say it

void check(int error) {
    if (error != 0)
        throw std::system_error(error, std::generic_category());
}

FileDescriptor withoutBlocking(FileDescriptor descriptor) {
    fcntl(descriptor.get(), F_SETFL, fcntl(descriptor.get(), F_GETFL) | O_NONBLOCK);
    return descriptor;
}

class FileActions {
public:
    FileActions(int input, int output, int errors) {
        check(posix_spawn_file_actions_init(&actions));
        int target = 0;
        for (const int source : {input, output, errors})
            check(posix_spawn_file_actions_adddup2(&actions, source, target++));
        check(posix_spawn_file_actions_addclosefrom_np(&actions, target));
    }
    ~FileActions() { posix_spawn_file_actions_destroy(&actions); }
    FileActions(const FileActions&) = delete;
    FileActions& operator=(const FileActions&) = delete;

    posix_spawn_file_actions_t actions;
};

// Signals as a program finds them when a shell starts it.
class DefaultSignals {
public:
    DefaultSignals() {
        check(posix_spawnattr_init(&attributes));
        sigset_t signals;
        sigemptyset(&signals);
        check(posix_spawnattr_setsigmask(&attributes, &signals));
        sigfillset(&signals);
        check(posix_spawnattr_setsigdefault(&attributes, &signals));
        check(
            posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF));
    }
    ~DefaultSignals() { posix_spawnattr_destroy(&attributes); }
    DefaultSignals(const DefaultSignals&) = delete;
    DefaultSignals& operator=(const DefaultSignals&) = delete;

    posix_spawnattr_t attributes;
};

std::vector<std::string> argumentsOf(const SpawnedProcess::Command& command) {
    std::vector<std::string> arguments = {command.program};
    arguments.insert(arguments.end(), command.arguments.begin(), command.arguments.end());
    return arguments;
}

std::vector<std::string> variablesOf(const std::map<std::string, std::string>& environment) {
    std::vector<std::string> variables;
    variables.reserve(environment.size());
    for (const auto& [name, value] : environment)
        variables.push_back(fmt::format("{}={}", name, value));
    return variables;
}

} // namespace

SpawnedProcess::SpawnedProcess(const Command& command) {
    Pipe in;
    Pipe out;
    Pipe err;
    spawn(command, in.read.get(), out.write.get(), err.write.get());
    standardInput = withoutBlocking(std::move(in.write));
    standardOutput = withoutBlocking(std::move(out.read));
    standardError = withoutBlocking(std::move(err.read));
    // Nobody else waits for the process, so its number cannot have gone to another one.
    processDescriptor = FileDescriptor(static_cast<int>(syscall(SYS_pidfd_open, process, 0)));
    if (!processDescriptor)
        throw std::system_error(errno, std::generic_category());
}

void SpawnedProcess::spawn(const Command& command, int input, int output, int errors) {
    auto arguments = argumentsOf(command);
    auto variables =
        command.environment ? variablesOf(*command.environment) : std::vector<std::string>();
    const auto argumentPointers = pointersTo(arguments);
    const auto variablePointers = pointersTo(variables);
    const FileActions files(input, output, errors);
    const DefaultSignals signals;
    check(posix_spawn(&process, command.program.c_str(), &files.actions, &signals.attributes,
                      argumentPointers.data(),
                      command.environment ? variablePointers.data() : environ));
}

SpawnedProcess::~SpawnedProcess() {
    if (process <= 0 || hasEnded())
        return;
    signal(SIGKILL);
    waitpid(process, nullptr, 0);
}

// SIGPIPE, which would end us, goes to the thread that writes: it is held back and taken away.
std::optional<std::size_t> SpawnedProcess::write(std::string_view bytes) const {
    sigset_t brokenPipe;
    sigset_t before;
    sigemptyset(&brokenPipe);
    sigaddset(&brokenPipe, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &brokenPipe, &before);
    const ssize_t written = ::write(input(), bytes.data(), bytes.size());
    const int error = errno;
    if (written < 0 && error == EPIPE && sigismember(&before, SIGPIPE) == 0) {
        const timespec atOnce{};
        sigtimedwait(&brokenPipe, nullptr, &atOnce);
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    if (written >= 0)
        return static_cast<std::size_t>(written);
    return error == EAGAIN || error == EINTR ? std::optional<std::size_t>(0) : std::nullopt;
}

void SpawnedProcess::signal(int number) const {
    if (!status)
        kill(process, number);
}

bool SpawnedProcess::hasEnded() {
    int wait = 0;
    if (!status && waitpid(process, &wait, WNOHANG) == process)
        status = WIFEXITED(wait) ? WEXITSTATUS(wait) : bySignal + WTERMSIG(wait);
    return status.has_value();
}

} // namespace tavik
