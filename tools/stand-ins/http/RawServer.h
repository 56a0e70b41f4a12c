#pragma once

#include <atomic>
#include <functional>
#include <list>
#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace tavik {

// A connection, as a test's script sees it. Every wait ends when the server does.
class Peer {
public:
    explicit Peer(int connectedSocket)
        : descriptor(connectedSocket) {}
    ~Peer();
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;

    // These return nothing when the connection is over: the next request with its body, exactly so
    // many bytes, and what there is.
    std::string readRequest();
    std::string read(std::size_t size);
    std::string readSome();
    // False when the connection is over.
    bool write(std::string_view bytes);
    // Waits until the client hangs up.
    void waitForEnd();
    // Ends the connection so that the client sees a reset, or an end.
    void reset();
    void shutDown();

private:
    const int descriptor;
    std::string unread;
};

// A listener on 127.0.0.1 that runs `script` for each connection, on a thread of its own.
class RawServer {
public:
    using Script = std::function<void(Peer&)>;

    explicit RawServer(Script script);
    ~RawServer();

    int port() const;
    std::string url(std::string_view path = "/") const;
    int connectionCount() const { return connections; }

private:
    struct Connection;

    void acceptAll();

    const Script script;
    const int listener;
    std::atomic<int> connections = 0;
    std::list<Connection> open; // the acceptor's
    std::thread acceptor;
};

// Answers one request on each connection with `reply`, and leaves.
RawServer::Script answeringOnce(std::string reply);
// A whole response of status 200.
std::string okReply(std::string_view body);

// Remembers the requests, and answers "here" where nothing else was told for the path.
class PageServer {
public:
    void answer(const std::string& path, const std::string& reply);
    std::vector<std::string> requests();

    std::string url(std::string_view path = "/") const { return server.url(path); }
    int connectionCount() const { return server.connectionCount(); }

private:
    std::string take(const std::string& request);

    std::mutex mutex;
    std::map<std::string, std::string> replies; // guarded by mutex
    std::vector<std::string> seen;              // guarded by mutex
    RawServer server{[this](Peer& peer) {
        for (std::string request; !(request = peer.readRequest()).empty();)
            peer.write(take(request));
    }};
};

// A loopback port whose connections are never accepted: the system's queue for them is full.
class FullListener {
public:
    FullListener();
    std::string url() const;

private:
    const int descriptor;
    const Peer listener{descriptor};
    std::list<Peer> fillers;
};

// A loopback port on which nobody listens.
int refusingPort();
// A connection to a port of this machine; negative when nobody listens.
int connectTo(int port, int socketFlags = 0);

} // namespace tavik
