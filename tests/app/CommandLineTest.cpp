#include "app/CommandLine.h"

namespace tavik {

using Mode = CommandLine::Mode;

TEST(CommandLine, ChoosesOneModeInAFixedOrder) {
    struct Case {
        std::vector<std::string> arguments;
        Mode mode;
        bool isHeadless;
    };
    const std::vector<Case> cases = {
        {{}, Mode::listen, false},
        {{"--selftest-agent", "a task", "--mcp"}, Mode::shim, true},
        {{"--selftest-memory", "--selftest-agent", "a task"}, Mode::selftestAgent, true},
        {{"--selftest-survive", "--selftest-mcp", "--selftest-memory"}, Mode::selftestMemory, true},
        {{"--selftest-survive", "--selftest-mcp"}, Mode::selftestMcp, true},
        {{"--selftest-survive"}, Mode::selftestSurvive, true},
        {{"--selftest-agent"}, Mode::listen, true},
        {{"--selftest-memory", "--selftest-agent"}, Mode::selftestMemory, true},
        {{"--help"}, Mode::help, false},
        {{"--version"}, Mode::version, false},
    };
    for (const Case& each : cases) {
        const CommandLine parsed = parseCommandLine(each.arguments);
        EXPECT_EQ(parsed.mode, each.mode);
        EXPECT_EQ(parsed.isHeadless, each.isHeadless);
    }
    EXPECT_EQ(parseCommandLine({"--selftest-agent", "--version?"}).task, "--version?");
}

TEST(CommandLine, RefusesWhatItDoesNotKnow) {
    EXPECT_THROW(parseCommandLine({"--listen"}), CommandLineError);
    EXPECT_THROW(parseCommandLine({"hello"}), CommandLineError);
}

} // namespace tavik
