#pragma once

#include "platform/files/FileDescriptor.h"

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <vector>

namespace tavik {

// A child process behind three pipes. It gets no other descriptor of ours, and default signal
// handling. For one thread at a time; our ends of the pipes do not block.
class SpawnedProcess {
public:
    struct Command {
        std::string program;                // a path
        std::vector<std::string> arguments; // without the program
        // The whole environment; ours when absent.
        std::optional<std::map<std::string, std::string>> environment;
    };

    // Throws std::system_error when the program cannot be started.
    explicit SpawnedProcess(const Command& command);
    // A process that still runs is killed, and waited for.
    ~SpawnedProcess();
    SpawnedProcess(const SpawnedProcess&) = delete;
    SpawnedProcess& operator=(const SpawnedProcess&) = delete;

    pid_t pid() const { return process; }
    int input() const { return standardInput.get(); }
    int output() const { return standardOutput.get(); }
    int errors() const { return standardError.get(); }
    // Becomes readable when the process has ended.
    int exit() const { return processDescriptor.get(); }

    // How many of the bytes its input took, 0 while that is full; nothing when nobody reads it.
    std::optional<std::size_t> write(std::string_view bytes) const;

    // The process reads the end of its input.
    void closeInput() { standardInput.reset(); }

    // Nothing when it has ended.
    void signal(int number) const;

    // Whether it has ended; takes its exit status from the system then.
    bool hasEnded();

    // Once it has ended; 128 and the signal's number when a signal ended it.
    std::optional<int> exitStatus() const { return status; }

private:
    void spawn(const Command& command, int input, int output, int errors);

    pid_t process = -1;
    FileDescriptor processDescriptor;
    FileDescriptor standardInput;
    FileDescriptor standardOutput;
    FileDescriptor standardError;
    std::optional<int> status;
};

} // namespace tavik
