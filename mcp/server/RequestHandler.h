#pragma once

#include "mcp/server/Connection.h"
#include "mcp/server/ServerTools.h"
#include "platform/concurrency/WorkerPool.h"

#include <deque>
#include <functional>
#include <map>
#include <memory>

namespace tavik {

// Answers what clients ask: the protocol's own questions at once, tool lists and tool calls from a
// pool. Belongs to the thread of the server's loop.
class RequestHandler {
public:
    using ClientPointer = std::shared_ptr<Connection>;
    using RunInPool = std::function<void(WorkerPool::Job)>;
    using RunInLoop = std::function<void(std::function<void()>)>;

    // `tools` outlives the jobs that are given to the pool, and this the jobs given to the loop.
    RequestHandler(ServerTools& tools, RunInPool pool, RunInLoop loop);

    void handle(const ClientPointer& from, const Json& request);

    // Drops what a client that is gone still waits for.
    void forget(const ClientPointer& client);

private:
    struct Call {
        Json id;
        std::function<Json(std::stop_token)> result;
    };
    struct Calls {
        std::size_t running = 0;
        std::deque<Call> waiting;
    };

    void callTool(const ClientPointer& from, const Json& id, const Json* parameters);
    void begin(const ClientPointer& from, Call call);
    void run(const ClientPointer& from, Call call);
    void finish(const ClientPointer& from, const Json& id, Json result);

    ServerTools& tools;
    const RunInPool runInPool;
    const RunInLoop runInLoop;
    std::map<ClientPointer, Calls> callsOf;
};

} // namespace tavik
