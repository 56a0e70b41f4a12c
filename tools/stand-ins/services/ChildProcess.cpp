#include "tools/stand-ins/services/ChildProcess.h"

#include "platform/process/TextPointers.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <system_error>
#include <thread>
#include <unistd.h>

namespace tavik {

namespace {

using std::chrono::steady_clock;

constexpr int commandNotFound = 127;

std::vector<std::string> environmentWith(const ChildProcess::Command& command) {
    std::vector<std::string> variables;
    for (char** entry = environ; *entry; ++entry) {
        const std::string variable = *entry;
        if (!command.environment.contains(variable.substr(0, variable.find('='))))
            variables.push_back(variable);
    }
    for (const auto& [name, value] : command.environment)
        if (value)
            variables.push_back(name + "=" + *value);
    return variables;
}

// A pipe of which an exec closes both ends.
struct Pipe {
    Pipe() {
        if (pipe2(ends, O_CLOEXEC) != 0)
            throw std::system_error(errno, std::generic_category(), "pipe");
    }

    int ends[2];
};

// The read end of a pipe that holds `text`, which must fit into a pipe.
int pipeHolding(const std::string& text) {
    const Pipe pipe;
    [[maybe_unused]] const auto written = write(pipe.ends[1], text.data(), text.size());
    close(pipe.ends[1]);
    return pipe.ends[0];
}

int openOutput(const std::string& path) {
    const std::string target = path.empty() ? "/dev/null" : path;
    const int descriptor = open(target.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    if (descriptor < 0)
        throw std::system_error(errno, std::generic_category(), target);
    return descriptor;
}

// Between fork and exec: only calls that are safe there. Writes to `failure` why there is no exec.
[[noreturn]] void become(int input, int output, int failure, pid_t parent, char* const* arguments,
                         char* const* variables) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent)
        _exit(commandNotFound);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    ::signal(SIGPIPE, SIG_DFL);
    dup2(input, STDIN_FILENO);
    dup2(output, STDOUT_FILENO);
    dup2(output, STDERR_FILENO);
    execvpe(arguments[0], arguments, variables);
    const int error = errno;
    [[maybe_unused]] const auto written = write(failure, &error, sizeof error);
    _exit(commandNotFound);
}

// 0 once the program runs, else why it does not.
int startErrorFrom(const Pipe& failure) {
    close(failure.ends[1]);
    int error = 0;
    while (read(failure.ends[0], &error, sizeof error) < 0 && errno == EINTR) {
    }
    close(failure.ends[0]);
    return error;
}

} // namespace

ChildProcess::ChildProcess(const Command& command) {
    auto arguments = command.arguments;
    auto variables = environmentWith(command);
    const auto argumentPointers = pointersTo(arguments);
    const auto variablePointers = pointersTo(variables);
    const int input = pipeHolding(command.input);
    const int output = openOutput(command.outputPath);
    const Pipe failure;
    const pid_t parent = getpid();
    process = fork();
    if (process == 0)
        become(input, output, failure.ends[1], parent, argumentPointers.data(),
               variablePointers.data());
    const int forkError = process < 0 ? errno : 0;
    const int startError = startErrorFrom(failure);
    close(input);
    close(output);
    if (process > 0 && startError != 0)
        kill();
    if (forkError != 0 || startError != 0)
        throw std::system_error(forkError != 0 ? forkError : startError, std::generic_category(),
                                command.arguments.front());
}

ChildProcess::~ChildProcess() {
    terminate();
}

std::optional<int> ChildProcess::waitFor(std::chrono::milliseconds patience) {
    const auto deadline = steady_clock::now() + patience;
    while (!status) {
        int result = 0;
        if (waitpid(process, &result, WNOHANG) == process)
            status = WIFEXITED(result) ? WEXITSTATUS(result) : 128 + WTERMSIG(result);
        else if (steady_clock::now() >= deadline)
            break;
        else
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return status;
}

int ChildProcess::terminate(std::chrono::milliseconds grace) {
    if (status)
        return *status;
    signal(SIGTERM);
    signal(SIGCONT);
    if (!waitFor(grace))
        kill();
    return *status;
}

void ChildProcess::kill() {
    signal(SIGKILL);
    while (!waitFor(std::chrono::seconds(1))) {
    }
}

void ChildProcess::suspend() {
    signal(SIGSTOP);
}

void ChildProcess::resume() {
    signal(SIGCONT);
}

void ChildProcess::signal(int number) const {
    if (!status)
        ::kill(process, number);
}

} // namespace tavik
