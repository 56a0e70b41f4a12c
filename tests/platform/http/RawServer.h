#pragma once

#include <atomic>
#include <functional>
#include <list>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

namespace tavik {

// One accepted connection, as a test's script sees it. Every wait ends when the server does.
class Peer {
public:
    explicit Peer(int accepted);
    ~Peer();
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;

    // The next request with its body; empty when the connection is over.
    std::string readRequest();
    // False when the connection is over.
    bool write(std::string_view bytes);
    // Waits until the client hangs up.
    void waitForEnd();
    // Ends the connection so that the client sees a reset.
    void reset();
    void shutDown();

private:
    bool fill();

    const int descriptor;
    std::string unread;
};

// A listener on 127.0.0.1 that runs `script` for each connection, on a thread of its own.
class RawServer {
public:
    using Script = std::function<void(Peer&)>;

    explicit RawServer(Script script);
    ~RawServer();

    std::string url(std::string_view path = "/") const;
    int connectionCount() const { return connections; }

private:
    struct Connection;

    void acceptAll();

    const Script script;
    const int listener;
    std::atomic<int> connections = 0;
    std::mutex mutex;
    std::list<Connection> open; // guarded by mutex
    std::thread acceptor;
};

// Answers every request on a connection with `reply`.
RawServer::Script answering(std::string reply);
// A whole response of status 200.
std::string okReply(std::string_view body);

// A loopback port whose connections are never accepted: the system's queue for them is full.
class FullListener {
public:
    FullListener();
    ~FullListener();

    std::string url(std::string_view scheme) const;

private:
    int listener;
    std::list<int> fillers;
};

// A loopback port on which nobody listens.
std::string refusedUrl();

} // namespace tavik
