#pragma once

#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

namespace tavik {

// A program that runs beside us and never outlives us, nor the thread that started it. Its exit
// status is 128 plus the signal when a signal ended it. Not for several threads at once.
class ChildProcess {
public:
    struct Command {
        std::vector<std::string> arguments; // the program first, found on the PATH
        // Changes to our own environment; an empty optional removes a variable.
        std::map<std::string, std::optional<std::string>> environment;
        std::string outputPath; // for both output streams; empty for nowhere
        std::string input;      // what it reads from its standard input; 64 KiB at most
    };

    // Throws std::system_error when the program cannot be started.
    explicit ChildProcess(const Command& command);
    // Ends it, first kindly.
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    pid_t pid() const { return process; }
    bool isRunning() { return !waitFor(std::chrono::milliseconds(0)); }

    // The exit status, once it has ended within `patience`.
    std::optional<int> waitFor(std::chrono::milliseconds patience);

    // SIGTERM, and SIGKILL when that does not end it within `grace`. Returns the exit status.
    int terminate(std::chrono::milliseconds grace = std::chrono::seconds(3));
    void kill();
    // SIGSTOP and SIGCONT.
    void suspend();
    void resume();

private:
    void signal(int number) const;

    pid_t process = -1;
    std::optional<int> status;
};

} // namespace tavik
