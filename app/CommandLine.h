#pragma once

#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace tavik {

// What the arguments ask the process to be.
struct CommandLine {
    enum class Mode {
        listen,
        shim,
        selftestAgent,
        selftestMemory,
        selftestMcp,
        selftestSurvive,
        help,
        version
    };

    Mode mode = Mode::listen;
    std::string task;        // of the agent self-test
    bool isHeadless = false; // any self-test argument: no window, no tray item, no single instance
};

// Arguments that the program does not know. `what()` is a sentence.
class CommandLineError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Reads the arguments without the program's name. "--mcp" anywhere wins over everything; then the
// self-tests in their fixed order, whatever the order of the arguments; "--selftest-agent" without
// a task is passed over. Throws CommandLineError.
CommandLine parseCommandLine(const std::vector<std::string>& arguments);

// The text of "--help".
std::string_view usage();

} // namespace tavik
