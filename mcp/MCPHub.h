#pragma once

#include "mcp/EngineLaunch.h"
#include "mcp/MCPClient.h"
#include "platform/concurrency/Clock.h"

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <stop_token>
#include <string>
#include <thread>
#include <vector>

namespace tavik {

// Owns the one connection to the desktop-control engine: starts it when it is first needed, once
// for all who ask at the same time, ends it when nobody has used it for ten minutes, and starts it
// again after its end. Safe from any thread. What fails is a BrainError with a sentence for the
// user; a stop request ends the caller's own wait with Cancelled.
class MCPHub {
public:
    // Where the engine is; asked at every start.
    using LaunchProvider = std::function<std::optional<EngineLaunch>()>;

    explicit MCPHub(LaunchProvider launch = {}, Clock& clock = systemClock());
    // Shuts down, and waits until the engine has ended.
    ~MCPHub();
    MCPHub(const MCPHub&) = delete;
    MCPHub& operator=(const MCPHub&) = delete;

    // The program's.
    static MCPHub& shared();

    // The engine's tools, which are asked for once in the life of the hub.
    std::vector<MCPClient::ToolInfo> tools(std::stop_token stop);

    // Runs a tool, for two minutes at most. It is never tried twice: the action may have happened.
    ToolReply call(const std::string& name, const Json& arguments, std::stop_token stop);

    // Ends the engine, or its start, whose callers get Cancelled. At any time, and repeatedly.
    void shutdown();

private:
    struct Startup;
    using ClientPointer = std::shared_ptr<MCPClient>;

    ClientPointer client(std::stop_token stop);
    std::shared_ptr<Startup> currentStartup();
    ClientPointer launch(std::stop_token stop);
    void finish(Startup& started, ClientPointer made, std::exception_ptr failure);
    void startReaper();
    bool reapIfIdle();
    void touch();

    const LaunchProvider launchProvider;
    Clock& clock;

    std::mutex mutex;
    std::condition_variable_any changed;
    // The rest is guarded by mutex.
    ClientPointer vamo;
    std::shared_ptr<Startup> startup;
    std::optional<std::vector<MCPClient::ToolInfo>> cachedTools;
    Clock::Instant lastUse;
    std::jthread reaper;
    std::vector<std::shared_ptr<Startup>> ended; // start-ups whose threads are to be joined
};

} // namespace tavik
