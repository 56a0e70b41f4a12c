#include "app/AgentSelfTest.h"
#include "app/CommandLine.h"
#include "app/HeadlessApp.h"
#include "app/InstanceChannel.h"
#include "app/Log.h"
#include "app/MCPSelfTest.h"
#include "app/MemorySelfTest.h"
#include "app/QuitSignals.h"
#include "app/SingleInstanceGuard.h"
#include "app/SurviveSelfTest.h"
#include "app/TavikApp.h"
#include "app/Termination.h"
#include "mcp/shim/MCPShim.h"
#include "platform/concurrency/Cancelled.h"
#include "ui/DesktopApp.h"
#include "ui/DisplayChoice.h"

#include <cstdio>
#include <functional>
#include <stop_token>

namespace tavik {

namespace {

constexpr int usageError = 2;

// Runs `test` until it ends or the user quits.
int runSelfTest(const std::function<void(std::stop_token)>& test) {
    std::stop_source quit;
    const QuitSignals signals([&] { quit.request_stop(); });
    try {
        test(quit.get_token());
    } catch (const Cancelled&) {
        // Quitting.
    }
    endServices();
    return 0;
}

int survive() {
    const QuitSignals signals(requestQuit);
    runSurviveSelfTest();
    return 0;
}

int refuseDuplicate() {
    log("[single-instance] rejected duplicate launch");
    showRunningTavik();
    return 0;
}

int listen(const CommandLine& commandLine, int argumentCount, char** arguments) {
    const QuitSignals signals(requestQuit);
    if (commandLine.isHeadless) {
        runHeadless();
        return 0;
    }
    const auto guard = SingleInstanceGuard::acquire();
    if (!guard)
        return refuseDuplicate();
    if (chooseDisplay()) {
        runDesktop(argumentCount, arguments);
        return 0;
    }
    log("[tavik] there is no display, so there are no windows");
    runHeadless();
    return 0;
}

int run(const CommandLine& commandLine, int argumentCount, char** arguments) {
    switch (commandLine.mode) {
    case CommandLine::Mode::shim:
        runMCPShim();
    case CommandLine::Mode::help:
        std::fputs(usage().data(), stdout);
        return 0;
    case CommandLine::Mode::version:
        std::puts("tavik " TAVIK_VERSION);
        return 0;
    case CommandLine::Mode::selftestAgent:
        return runSelfTest(
            [&](std::stop_token stop) { runAgentSelfTest(commandLine.task, std::move(stop)); });
    case CommandLine::Mode::selftestMemory:
        return runSelfTest(runMemorySelfTest);
    case CommandLine::Mode::selftestMcp:
        return runSelfTest(runMCPSelfTest);
    case CommandLine::Mode::selftestSurvive:
        return survive();
    case CommandLine::Mode::listen:
        return listen(commandLine, argumentCount, arguments);
    }
    return usageError;
}

} // namespace

} // namespace tavik

int main(int argc, char** argv) {
    try {
        return tavik::run(tavik::parseCommandLine({argv + 1, argv + argc}), argc, argv);
    } catch (const tavik::CommandLineError& error) {
        std::fprintf(stderr, "tavik: %s\n", error.what());
        return tavik::usageError;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "tavik: %s\n", error.what());
        return 1;
    }
}
