#include "mcp/server/MCPServer.h"

#include "app/Log.h"
#include "mcp/UnixSocket.h"
#include "mcp/server/RequestHandler.h"
#include "mcp/server/ServerLoop.h"
#include "platform/concurrency/WorkerPool.h"

#include <optional>
#include <system_error>

namespace tavik {

namespace {

constexpr std::size_t maximumThreads = 64;

} // namespace

// A server that runs.
class MCPServer::Service {
public:
    Service(const std::string& path, const ServerToolServices& services)
        : tools(services)
        , pool(std::in_place, "ai.tavik.mcpcall", maximumThreads)
        , loop(
              path,
              [this](const auto& from, const Json& request) { handler.handle(from, request); },
              [this](const auto& client) { handler.forget(client); }) {}

    ~Service() {
        loop.stop();  // begins no more calls
        pool.reset(); // hands no more answers to the loop
    }

private:
    ServerTools tools;
    std::optional<WorkerPool> pool;
    RequestHandler handler{tools, [this](WorkerPool::Job job) { pool->async(std::move(job)); },
                           [this](ServerLoop::Job job) { loop.async(std::move(job)); }};
    ServerLoop loop; // last: its thread uses the above
};

MCPServer::MCPServer(ServerToolServices toolServices)
    : services(std::move(toolServices)) {}

MCPServer::~MCPServer() {
    stop();
}

MCPServer& MCPServer::shared() {
    static MCPServer server;
    return server;
}

std::string MCPServer::socketPath() {
    return mcpSocketPath();
}

void MCPServer::start() {
    const std::lock_guard lock(mutex);
    if (service)
        return;
    const std::string path = socketPath();
    try {
        service = std::make_unique<Service>(path, services);
        log("[tavik-mcp] listening at " + path);
    } catch (const ListenError& error) {
        log(error.what());
    } catch (const std::system_error& error) {
        log(std::string("[tavik-mcp] couldn't start: ") + error.what());
    }
}

void MCPServer::stop() {
    const std::lock_guard lock(mutex);
    service.reset();
}

} // namespace tavik
