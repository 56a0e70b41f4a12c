#pragma once

#include "mcp/server/Connection.h"
#include "mcp/server/ListeningSocket.h"

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <poll.h>
#include <stop_token>
#include <thread>
#include <vector>

namespace tavik {

// The thread of the server's sockets: it accepts clients, reads their requests, writes what they
// are answered, and runs the jobs it is given. Nothing on it may block.
class ServerLoop {
public:
    using ClientPointer = std::shared_ptr<Connection>;
    using Job = std::function<void()>;
    // Called on the loop's thread.
    using OnRequest = std::function<void(const ClientPointer& from, const Json& request)>;
    using OnClose = std::function<void(const ClientPointer& client)>;

    // Serves at `path`. Throws ListenError, and std::system_error when the system is out of
    // descriptors or threads.
    ServerLoop(const std::string& path, OnRequest onRequest, OnClose onClose);
    ~ServerLoop();
    ServerLoop(const ServerLoop&) = delete;
    ServerLoop& operator=(const ServerLoop&) = delete;

    // Runs `job` on the loop's thread, soon. Safe from any thread; nothing happens after `stop`.
    void async(Job job);

    // Closes the connections and the socket, removes its file, and ends the thread.
    void stop();

private:
    void serve(std::stop_token stop);
    std::vector<pollfd> waits() const;
    int pollMilliseconds() const;
    void runJobs();
    void serveClients(const std::vector<pollfd>& polled);
    void serveClient(const ClientPointer& client, short events);
    void acceptClients();
    void forgetClosed();

    const OnRequest onRequest;
    const OnClose onClose;
    FileDescriptor wake; // readable when there are jobs, or a stop
    std::mutex mutex;
    std::vector<Job> jobs; // guarded by mutex

    // The thread's own.
    std::optional<ListeningSocket> listener;
    std::vector<ClientPointer> clients;
    std::optional<Connection::Instant> acceptAgain; // the system had no descriptor left

    std::jthread thread; // last: it uses all of the above
};

} // namespace tavik
