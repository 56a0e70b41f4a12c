#pragma once

#include "brains/Brain.h"
#include "mcp/LineBuffer.h"
#include "mcp/OutgoingBytes.h"
#include "mcp/ToolReply.h"
#include "platform/process/SpawnedProcess.h"

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <poll.h>
#include <stop_token>
#include <string>
#include <thread>
#include <vector>

namespace tavik {

// One child process that speaks the Model Context Protocol (JSON-RPC 2.0, an object a line) on its
// standard input and output. It is started once; a new process needs a new client. Safe from any
// thread; any number of requests may wait at once. What fails is a BrainError with a sentence for
// the user; a stop request ends a wait within 50 ms with Cancelled and tells the child.
// Protocol: Model Context Protocol, revision 2024-11-05, https://modelcontextprotocol.io
class MCPClient {
public:
    using Environment = std::map<std::string, std::string>;

    // A tool as the server describes it.
    struct ToolInfo {
        std::string name;
        std::string description;
        Json inputSchema;
    };

    // `name` is for the log. `environment` is the child's whole environment; ours when absent.
    MCPClient(std::string name, std::string command, std::vector<std::string> arguments,
              std::optional<Environment> environment = std::nullopt);
    // Ends the process, by force when it takes longer than half a second.
    ~MCPClient();
    MCPClient(const MCPClient&) = delete;
    MCPClient& operator=(const MCPClient&) = delete;

    // Whether the process runs and has not been told to end.
    bool alive();

    // Launches the process and shakes hands, for 30 s at most.
    void start(std::stop_token stop);

    std::vector<ToolInfo> listTools(std::stop_token stop);

    ToolReply callTool(const std::string& name, const Json& arguments,
                       std::chrono::milliseconds timeout, std::stop_token stop);

    // Fails what waits and asks the process to end. Returns at once.
    void terminate();

private:
    struct Answer {
        Json result = Json::object();
        std::optional<std::string> failure; // a sentence
    };

    Json request(const char* method, Json parameters, std::chrono::milliseconds timeout,
                 const std::stop_token& stop);
    void notify(const char* method);

    // These expect the lock to be held.
    bool sendLocked(const Json& message);
    bool flushLocked();
    void failAllLocked(const std::string& sentence);

    // The thread of the process's pipes.
    void serve();
    std::vector<pollfd> waits();
    int pollMilliseconds();
    void readOutput();
    void readErrors();
    void consume(std::string_view bytes);
    void deliver(const Json& reply);
    bool hasExited();
    void died();

    const std::string serverName;
    const SpawnedProcess::Command command;

    std::mutex mutex;
    std::condition_variable_any answered;
    // The rest is guarded by mutex.
    std::unique_ptr<SpawnedProcess> process;
    OutgoingBytes outgoing;
    std::map<std::int64_t, std::optional<Answer>> pending;
    std::int64_t nextID = 1;
    bool isAlive = false;
    std::optional<std::chrono::steady_clock::time_point> killAt;

    FileDescriptor wake; // readable when the thread has to look around
    LineBuffer buffer;   // used by the thread only, as are the next two
    bool outputIsOpen = true;
    bool errorsAreOpen = true;
    std::thread thread;
};

} // namespace tavik
