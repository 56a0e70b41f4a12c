#include "app/MCPSelfTest.h"

#include "app/Log.h"
#include "app/Paths.h"
#include "mcp/server/MCPServer.h"
#include "platform/concurrency/Clock.h"
#include "platform/text/Environment.h"

namespace tavik {

namespace {

bool hasSocketOfItsOwn() {
    const std::string path = environmentValue("TAVIK_MCP_SOCKET");
    return !path.empty() && path != defaultSocketPath();
}

} // namespace

void runMCPSelfTest(std::stop_token stop) {
    if (!hasSocketOfItsOwn()) {
        log("[selftest-mcp] isolated TAVIK_MCP_SOCKET is required");
        return;
    }
    log("[selftest-mcp] serving at " + MCPServer::socketPath() + " — kill to end");
    MCPServer::shared().start();
    while (true)
        systemClock().sleepFor(std::chrono::hours(1), stop);
}

} // namespace tavik
