#include "mcp/server/ServerLoop.h"

#include "app/Log.h"
#include "platform/concurrency/ThreadName.h"

#include <algorithm>
#include <cerrno>
#include <fmt/format.h>
#include <sys/eventfd.h>
#include <system_error>
#include <utility>

namespace tavik {

namespace {

using namespace std::chrono_literals;
using std::chrono::steady_clock;

constexpr auto acceptPause = 200ms;
// Where the clients begin among the polled descriptors.
constexpr std::size_t ownDescriptors = 2;

FileDescriptor openWake() {
    FileDescriptor opened(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    if (!opened)
        throw std::system_error(errno, std::generic_category(), "eventfd");
    return opened;
}

} // namespace

ServerLoop::ServerLoop(const std::string& path, OnRequest request, OnClose close)
    : onRequest(std::move(request))
    , onClose(std::move(close))
    , wake(openWake())
    , listener(std::in_place, path)
    , thread([this](std::stop_token stop) { serve(std::move(stop)); }) {}

ServerLoop::~ServerLoop() {
    stop();
}

void ServerLoop::async(Job job) {
    {
        const std::lock_guard lock(mutex);
        jobs.push_back(std::move(job));
    }
    eventfd_write(wake.get(), 1);
}

void ServerLoop::stop() {
    thread.request_stop();
    if (thread.joinable())
        thread.join();
    for (const ClientPointer& client : clients)
        client->close("client disconnected");
    forgetClosed();
    listener.reset();
}

void ServerLoop::serve(std::stop_token stop) {
    nameThisThread("ai.tavik.mcpserver");
    const std::stop_callback onStop(stop, [this] { eventfd_write(wake.get(), 1); });
    while (!stop.stop_requested()) {
        auto polled = waits();
        poll(polled.data(), polled.size(), pollMilliseconds());
        runJobs();
        serveClients(polled);
        if (polled[1].revents != 0 || acceptAgain)
            acceptClients();
        forgetClosed();
    }
}

std::vector<pollfd> ServerLoop::waits() const {
    // A descriptor of -1 is passed over.
    const int listening = acceptAgain ? -1 : listener->descriptor();
    std::vector<pollfd> polled = {{wake.get(), POLLIN, 0}, {listening, POLLIN, 0}};
    for (const ClientPointer& client : clients)
        polled.push_back({client->descriptor(),
                          static_cast<short>(client->hasOutgoing() ? POLLIN | POLLOUT : POLLIN),
                          0});
    return polled;
}

// Until the first client is to be cut off, or clients can be accepted again.
int ServerLoop::pollMilliseconds() const {
    std::optional<Connection::Instant> next = acceptAgain;
    for (const ClientPointer& client : clients)
        if (const auto deadline = client->writeDeadline(); deadline && (!next || deadline < next))
            next = deadline;
    if (!next)
        return -1;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(*next - steady_clock::now());
    return static_cast<int>(std::max(left, 0ms).count());
}

void ServerLoop::runJobs() {
    eventfd_t ignored = 0;
    eventfd_read(wake.get(), &ignored);
    std::vector<Job> taken;
    {
        const std::lock_guard lock(mutex);
        taken.swap(jobs);
    }
    for (const Job& job : taken)
        job();
}

void ServerLoop::serveClients(const std::vector<pollfd>& polled) {
    for (std::size_t index = 0; index < clients.size(); ++index)
        serveClient(clients[index], polled[ownDescriptors + index].revents);
}

void ServerLoop::serveClient(const ClientPointer& client, short events) {
    if (client->isOpen() && (events & POLLOUT) != 0)
        client->flush();
    if (client->isOpen() && (events & (POLLIN | POLLHUP | POLLERR)) != 0)
        client->receive([&](const Json& request) { onRequest(client, request); });
    if (const auto deadline = client->writeDeadline(); deadline && steady_clock::now() >= deadline)
        client->close("client cut off because it does not read");
}

// When the system has no descriptor left for a client, it waits while others end.
void ServerLoop::acceptClients() {
    acceptAgain.reset();
    while (true) {
        FileDescriptor client = listener->accept();
        if (client) {
            log(fmt::format("[tavik-mcp] client connected (fd {})", client.get()));
            clients.push_back(std::make_shared<Connection>(std::move(client)));
        } else if (errno == EACCES) {
            log("[tavik-mcp] turned away a client of another user");
        } else if (errno != ECONNABORTED && errno != EINTR) {
            if (errno != EAGAIN)
                acceptAgain = steady_clock::now() + acceptPause;
            return;
        }
    }
}

void ServerLoop::forgetClosed() {
    std::vector<ClientPointer> closed;
    std::erase_if(clients, [&closed](const ClientPointer& client) {
        if (!client->isOpen())
            closed.push_back(client);
        return !client->isOpen();
    });
    for (const ClientPointer& client : closed)
        onClose(client);
}

} // namespace tavik
