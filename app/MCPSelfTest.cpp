#include "app/MCPSelfTest.h"

#include "app/Log.h"
#include "app/Paths.h"
#include "mcp/server/MCPServer.h"
#include "platform/concurrency/Clock.h"

#include <cstdlib>

namespace tavik {

namespace {

bool hasSocketOfItsOwn() {
    const char* path = std::getenv("TAVIK_MCP_SOCKET");
    return path && *path && path != defaultSocketPath();
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
