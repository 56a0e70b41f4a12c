#pragma once

#include "mcp/server/ServerTools.h"

#include <memory>
#include <mutex>
#include <string>

namespace tavik {

// Lets external agents of this user work with a few of the assistant's abilities over the Model
// Context Protocol: JSON-RPC 2.0, an object a line, on a stream socket. While the setting
// "mcpEnabled" is off it offers nothing and does nothing. Any number of agents may be connected;
// their calls run side by side, some of each agent's at a time, and are answered in the order in
// which they end. A call that runs when its agent leaves goes on; one that waits is dropped.
// Safe from any thread.
// Protocol: Model Context Protocol, revision 2024-11-05, https://modelcontextprotocol.io
class MCPServer {
public:
    explicit MCPServer(ServerToolServices services = {});
    // Stops.
    ~MCPServer();
    MCPServer(const MCPServer&) = delete;
    MCPServer& operator=(const MCPServer&) = delete;

    // The program's.
    static MCPServer& shared();

    // The path at which it serves; see mcpSocketPath().
    static std::string socketPath();

    // Serves at the path until `stop`. What prevents it is logged, and nothing else happens.
    void start();

    // Closes every connection, stops the calls that run, and removes the socket's file. Returns
    // when all that is done, within some 50 ms.
    void stop();

private:
    class Service;

    const ServerToolServices services;
    std::mutex mutex;
    std::unique_ptr<Service> service; // guarded by mutex
};

} // namespace tavik
