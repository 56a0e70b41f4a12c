#include "app/CommandLine.h"

#include <algorithm>
#include <fmt/format.h>

namespace tavik {

namespace {

using Mode = CommandLine::Mode;

bool has(const std::vector<std::string>& arguments, std::string_view wanted) {
    return std::find(arguments.begin(), arguments.end(), wanted) != arguments.end();
}

std::optional<std::string> valueAfter(const std::vector<std::string>& arguments,
                                      std::string_view option) {
    const auto found = std::find(arguments.begin(), arguments.end(), option);
    if (found == arguments.end() || found + 1 == arguments.end())
        return std::nullopt;
    return *(found + 1);
}

Mode modeOf(const std::vector<std::string>& arguments, const std::optional<std::string>& task) {
    if (has(arguments, "--mcp"))
        return Mode::shim;
    if (has(arguments, "--help") || has(arguments, "-h"))
        return Mode::help;
    if (has(arguments, "--version"))
        return Mode::version;
    if (task)
        return Mode::selftestAgent;
    if (has(arguments, "--selftest-memory"))
        return Mode::selftestMemory;
    if (has(arguments, "--selftest-mcp"))
        return Mode::selftestMcp;
    if (has(arguments, "--selftest-survive"))
        return Mode::selftestSurvive;
    return Mode::listen;
}

bool isSelfTest(std::string_view argument) {
    return argument.starts_with("--selftest");
}

} // namespace

CommandLine parseCommandLine(const std::vector<std::string>& arguments) {
    const auto task = valueAfter(arguments, "--selftest-agent");
    CommandLine parsed;
    parsed.mode = modeOf(arguments, task);
    parsed.task = task.value_or("");
    parsed.isHeadless = std::any_of(arguments.begin(), arguments.end(), isSelfTest);
    if (parsed.mode == Mode::listen)
        for (const std::string& argument : arguments)
            if (!isSelfTest(argument))
                throw CommandLineError(fmt::format(
                    "\"{}\" is no argument of tavik. \"tavik --help\" lists them.", argument));
    return parsed;
}

std::string_view usage() {
    return "Usage: tavik [OPTION]\n"
           "Listens for \"Hey Vessa\", does what is asked, and answers aloud.\n"
           "\n"
           "  --mcp                     bridge an external agent to the running Tavik\n"
           "  --selftest-agent \"TASK\"   carry out one task without microphone and speech\n"
           "  --selftest-memory         try the conversation store\n"
           "  --selftest-mcp            serve external agents at $TAVIK_MCP_SOCKET\n"
           "  --selftest-survive        start normally and quit after a minute\n"
           "  --help                    this text\n"
           "  --version                 the version\n"
           "\n"
           "Settings: ~/Library/Preferences/ai.tavik.json\n"
           "Log:      ~/Library/Logs/Tavik/tavik.log\n";
}

} // namespace tavik
