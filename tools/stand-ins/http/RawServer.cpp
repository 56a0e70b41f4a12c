#include "tools/stand-ins/http/RawServer.h"

#include <arpa/inet.h>
#include <cerrno>
#include <fmt/format.h>
#include <stdexcept>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

namespace tavik {

namespace {

struct Loopback {
    explicit Loopback(int port = 0) {
        address.sin_family = AF_INET;
        address.sin_port = htons(static_cast<std::uint16_t>(port));
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    }
    sockaddr* get() { return reinterpret_cast<sockaddr*>(&address); }

    sockaddr_in address{};
    socklen_t length = sizeof address;
};

int listenOnLoopback(int backlog) {
    const int descriptor = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    Loopback any;
    if (bind(descriptor, any.get(), any.length) != 0 || listen(descriptor, backlog) != 0)
        throw std::runtime_error("no loopback port can be had");
    return descriptor;
}

int portOf(int descriptor) {
    Loopback own;
    getsockname(descriptor, own.get(), &own.length);
    return ntohs(own.address.sin_port);
}

std::size_t bodyLength(const std::string& head) {
    const std::size_t found = head.find("Content-Length: ");
    return found == std::string::npos ? 0 : std::stoul(head.substr(found + 16));
}

} // namespace

Peer::~Peer() {
    close(descriptor);
}

std::string Peer::readSome() {
    char buffer[16384];
    if (!unread.empty())
        return std::exchange(unread, {});
    const ssize_t received = recv(descriptor, buffer, sizeof buffer, 0);
    return received > 0 ? std::string(buffer, static_cast<std::size_t>(received)) : "";
}

std::string Peer::read(std::size_t size) {
    std::string bytes;
    while (bytes.size() < size) {
        const std::string more = readSome();
        if (more.empty())
            return "";
        bytes += more;
    }
    unread = bytes.substr(size);
    return bytes.substr(0, size);
}

std::string Peer::readRequest() {
    std::string bytes;
    std::size_t headEnd = 0;
    while ((headEnd = bytes.find("\r\n\r\n")) == std::string::npos) {
        const std::string more = readSome();
        if (more.empty())
            return "";
        bytes += more;
    }
    unread = bytes;
    return read(headEnd + 4 + bodyLength(bytes.substr(0, headEnd)));
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
    while (!readSome().empty()) {
    }
}

void Peer::reset() {
    const sockaddr nobody{};
    static_cast<void>(connect(descriptor, &nobody, sizeof nobody));
}

void Peer::shutDown() {
    shutdown(descriptor, SHUT_RDWR);
}

struct RawServer::Connection {
    Connection(int accepted, const Script& script)
        : peer(accepted)
        , thread([this, &script] {
            script(peer);
            peer.shutDown();
        }) {}
    ~Connection() { peer.shutDown(); }

    Peer peer;
    std::jthread thread;
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
        open.emplace_back(accepted, script);
    }
}

int RawServer::port() const {
    return portOf(listener);
}

std::string RawServer::url(std::string_view path) const {
    return fmt::format("http://127.0.0.1:{}{}", port(), path);
}

RawServer::Script answeringOnce(std::string reply) {
    return [reply = std::move(reply)](Peer& peer) {
        peer.readRequest();
        peer.write(reply);
    };
}

std::string okReply(std::string_view body) {
    return fmt::format("HTTP/1.1 200 OK\r\nContent-Length: {}\r\n\r\n{}", body.size(), body);
}

void PageServer::answer(const std::string& path, const std::string& reply) {
    const std::lock_guard lock(mutex);
    replies[path] = reply;
}

std::vector<std::string> PageServer::requests() {
    const std::lock_guard lock(mutex);
    return seen;
}

std::string PageServer::take(const std::string& request) {
    const std::lock_guard lock(mutex);
    seen.push_back(request);
    const std::size_t begin = request.find(' ') + 1;
    const auto found = replies.find(request.substr(begin, request.find(' ', begin) - begin));
    const std::string reply = found == replies.end() ? okReply("here") : found->second;
    return request.starts_with("HEAD") ? reply.substr(0, reply.find("\r\n\r\n") + 4) : reply;
}

FullListener::FullListener()
    : descriptor(listenOnLoopback(0)) {
    for (int i = 0; i < 4; ++i)
        fillers.emplace_back(connectTo(portOf(descriptor), SOCK_NONBLOCK));
}

std::string FullListener::url() const {
    return fmt::format("http://127.0.0.1:{}/", portOf(descriptor));
}

int refusingPort() {
    const int descriptor = listenOnLoopback(1);
    const Peer closing(descriptor);
    return portOf(descriptor);
}

int connectTo(int port, int socketFlags) {
    const int descriptor = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | socketFlags, 0);
    Loopback there(port);
    if (connect(descriptor, there.get(), there.length) == 0 || errno == EINPROGRESS)
        return descriptor;
    close(descriptor);
    return -1;
}

} // namespace tavik
