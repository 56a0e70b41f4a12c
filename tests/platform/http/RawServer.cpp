#include "tests/platform/http/RawServer.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <stdexcept>
#include <sys/socket.h>
#include <unistd.h>

namespace tavik {

namespace {

sockaddr_in loopback(int port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

int listenOnLoopback(int backlog) {
    const int descriptor = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const sockaddr_in address = loopback(0);
    if (bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        listen(descriptor, backlog) != 0)
        throw std::runtime_error("no loopback port can be had");
    return descriptor;
}

int portOf(int descriptor) {
    sockaddr_in address{};
    socklen_t length = sizeof address;
    getsockname(descriptor, reinterpret_cast<sockaddr*>(&address), &length);
    return ntohs(address.sin_port);
}

std::size_t bodyLength(const std::string& head) {
    const std::size_t found = head.find("Content-Length: ");
    return found == std::string::npos ? 0 : std::stoul(head.substr(found + 16));
}

} // namespace

Peer::Peer(int accepted)
    : descriptor(accepted) {}

Peer::~Peer() {
    close(descriptor);
}

bool Peer::fill() {
    char buffer[16384];
    const ssize_t received = recv(descriptor, buffer, sizeof buffer, 0);
    if (received > 0)
        unread.append(buffer, static_cast<std::size_t>(received));
    return received > 0;
}

std::string Peer::readRequest() {
    std::size_t headEnd = 0;
    while ((headEnd = unread.find("\r\n\r\n")) == std::string::npos)
        if (!fill())
            return "";
    const std::size_t length = headEnd + 4 + bodyLength(unread.substr(0, headEnd));
    while (unread.size() < length)
        if (!fill())
            return "";
    std::string request = unread.substr(0, length);
    unread.erase(0, length);
    return request;
}

bool Peer::write(std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t sent = send(descriptor, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (sent <= 0)
            return false;
        bytes.remove_prefix(static_cast<std::size_t>(sent));
    }
    return true;
}

void Peer::waitForEnd() {
    while (fill())
        unread.clear();
}

void Peer::reset() {
    const linger none{1, 0};
    setsockopt(descriptor, SOL_SOCKET, SO_LINGER, &none, sizeof none);
}

void Peer::shutDown() {
    shutdown(descriptor, SHUT_RDWR);
}

struct RawServer::Connection {
    Connection(int accepted, const Script& script)
        : peer(std::make_unique<Peer>(accepted))
        , thread([this, script] {
            script(*peer);
            const std::lock_guard lock(mutex);
            peer.reset();
        }) {}
    ~Connection() {
        {
            const std::lock_guard lock(mutex);
            if (peer)
                peer->shutDown();
        }
        thread.join();
    }

    std::mutex mutex;
    std::unique_ptr<Peer> peer; // its end is guarded by mutex
    std::thread thread;
};

RawServer::RawServer(Script chosen)
    : script(std::move(chosen))
    , listener(listenOnLoopback(64))
    , acceptor([this] { acceptAll(); }) {}

RawServer::~RawServer() {
    shutdown(listener, SHUT_RDWR);
    acceptor.join();
    close(listener);
}

void RawServer::acceptAll() {
    int accepted = -1;
    while ((accepted = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC)) >= 0) {
        ++connections;
        const std::lock_guard lock(mutex);
        open.emplace_back(accepted, script);
    }
}

std::string RawServer::url(std::string_view path) const {
    return fmt::format("http://127.0.0.1:{}{}", portOf(listener), path);
}

RawServer::Script answering(std::string reply) {
    return [reply = std::move(reply)](Peer& peer) {
        while (!peer.readRequest().empty())
            peer.write(reply);
    };
}

std::string okReply(std::string_view body) {
    return fmt::format("HTTP/1.1 200 OK\r\nContent-Length: {}\r\n\r\n{}", body.size(), body);
}

FullListener::FullListener()
    : listener(listenOnLoopback(0)) {
    const sockaddr_in address = loopback(portOf(listener));
    for (int i = 0; i < 4; ++i) {
        fillers.push_back(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
        connect(fillers.back(), reinterpret_cast<const sockaddr*>(&address), sizeof address);
    }
}

FullListener::~FullListener() {
    for (const int filler : fillers)
        close(filler);
    close(listener);
}

std::string FullListener::url(std::string_view scheme) const {
    return fmt::format("{}://127.0.0.1:{}/", scheme, portOf(listener));
}

std::string refusedUrl() {
    const int descriptor = listenOnLoopback(1);
    const int port = portOf(descriptor);
    close(descriptor);
    return fmt::format("http://127.0.0.1:{}/", port);
}

} // namespace tavik
