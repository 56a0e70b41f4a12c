#include "tools/stand-ins/model/LoopbackServer.h"

#include "platform/concurrency/StopSignal.h"
#include "platform/text/Text.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <httplib.h>
#include <poll.h>
#include <stdexcept>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

namespace tavik {

namespace {

constexpr std::chrono::milliseconds idleLimit{60'000};
constexpr std::chrono::milliseconds exchangeLimit{5'000};
constexpr std::size_t connectionLimit = 32;

// One connection's bytes. Every wait ends when the server stops.
class Connection : public httplib::Stream {
public:
    Connection(int acceptedSocket, int stopDescriptor)
        : descriptor(acceptedSocket)
        , stopped(stopDescriptor) {}
    ~Connection() override {
        ::shutdown(descriptor, SHUT_RDWR);
        ::close(descriptor);
    }

    // False when the peer went away, the server stops, or nothing came for too long.
    bool awaitRequest() { return !unread().empty() || fill(idleLimit); }
    // From now on nothing is written.
    void cut() { isCut = true; }

    bool is_readable() const override { return !unread().empty() || await(POLLIN, exchangeLimit); }
    bool is_writable() const override { return !isCut && await(POLLOUT, exchangeLimit); }

    ssize_t read(char* bytes, std::size_t size) override {
        if (unread().empty() && !fill(exchangeLimit))
            return -1;
        const std::string_view taken = unread().substr(0, size);
        std::copy(taken.begin(), taken.end(), bytes);
        begin += taken.size();
        return static_cast<ssize_t>(taken.size());
    }

    ssize_t write(const char* bytes, std::size_t size) override {
        return is_writable() ? ::send(descriptor, bytes, size, MSG_NOSIGNAL) : -1;
    }

    void get_remote_ip_and_port(std::string& address, int& port) const override {
        address = "127.0.0.1";
        port = 0;
    }
    void get_local_ip_and_port(std::string& address, int& port) const override {
        get_remote_ip_and_port(address, port);
    }
    int socket() const override { return descriptor; }

private:
    bool await(short events, std::chrono::milliseconds limit) const {
        std::array<pollfd, 2> waits{{{descriptor, events, 0}, {stopped, POLLIN, 0}}};
        const int ready = ::poll(waits.data(), waits.size(), static_cast<int>(limit.count()));
        return ready > 0 && waits[1].revents == 0;
    }

    bool fill(std::chrono::milliseconds limit) {
        if (!await(POLLIN, limit))
            return false;
        const ssize_t received = ::recv(descriptor, buffer.data(), buffer.size(), 0);
        begin = 0;
        end = static_cast<std::size_t>(std::max<ssize_t>(received, 0));
        return end > 0;
    }

    std::string_view unread() const { return {buffer.data() + begin, end - begin}; }

    const int descriptor;
    const int stopped;
    bool isCut = false;
    std::array<char, 16384> buffer;
    std::size_t begin = 0;
    std::size_t end = 0;
};

// The connection that the calling thread serves, for the handler, which the library does not tell.
thread_local Connection* servedConnection = nullptr;

ServedRequest served(const httplib::Request& request) {
    ServedRequest result{request.method, request.path, {}, request.body};
    for (const auto& [name, value] : request.headers)
        result.headers.emplace(lowercased(name), value);
    return result;
}

} // namespace

std::string ServedRequest::header(const std::string& name) const {
    const auto found = headers.find(name);
    return found == headers.end() ? "" : found->second;
}

class LoopbackServer::Implementation : private httplib::Server {
public:
    explicit Implementation(LoopbackServer::Handler answer)
        : handler(std::move(answer))
        , stopSignal(stopSource.get_token()) {
        new_task_queue = [] { return new httplib::ThreadPool(connectionLimit); };
        set_tcp_nodelay(true);
        const auto answerAny = [this](const httplib::Request& request, httplib::Response& reply) {
            handle(request, reply);
        };
        Get(".*", answerAny);
        Post(".*", answerAny);
        boundPort = bind_to_any_port("127.0.0.1");
        if (boundPort <= 0)
            throw std::runtime_error("no loopback port can be had");
        listener = std::thread([this] { listen_after_bind(); });
        // A stop before the library listens would be lost.
        while (!is_running())
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }

    ~Implementation() override {
        stopSource.request_stop();
        stop();
        listener.join();
    }

    int port() const { return boundPort; }
    int connectionCount() const { return connections; }

private:
    // In place of the library's own loop, which holds an idle connection, and with it a stop, for
    // seconds.
    bool process_and_close_socket(int acceptedSocket) override {
        ++connections;
        Connection connection(acceptedSocket, stopSignal.descriptor());
        servedConnection = &connection;
        bool closed = false;
        while (!closed && connection.awaitRequest())
            if (!process_request(connection, false, closed, [](httplib::Request&) {}))
                break;
        servedConnection = nullptr;
        return true;
    }

    void handle(const httplib::Request& request, httplib::Response& reply) {
        const ServedResponse response = handler(served(request), stopSource.get_token());
        if (response.cutConnection)
            servedConnection->cut();
        reply.status = response.status;
        reply.set_content(response.body, response.contentType);
    }

    const LoopbackServer::Handler handler;
    std::stop_source stopSource;
    const StopSignal stopSignal;
    std::atomic<int> connections = 0;
    int boundPort = 0;
    std::thread listener;
};

LoopbackServer::LoopbackServer(Handler handler)
    : implementation(std::make_unique<Implementation>(std::move(handler))) {}

LoopbackServer::~LoopbackServer() = default;

int LoopbackServer::port() const {
    return implementation->port();
}

int LoopbackServer::connectionCount() const {
    return implementation->connectionCount();
}

} // namespace tavik
