#include "app/InstanceChannel.h"

#include "app/Log.h"
#include "app/Paths.h"
#include "mcp/UnixSocket.h"
#include "mcp/server/ListeningSocket.h"
#include "platform/concurrency/StopSignal.h"
#include "platform/concurrency/ThreadName.h"
#include "platform/text/Environment.h"

#include <array>
#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>

namespace tavik {

namespace {

constexpr timeval patience{2, 0};
constexpr int attempts = 50;
constexpr std::chrono::milliseconds attemptPause{20};
constexpr std::size_t longestToken = 512;

void limitWaits(const FileDescriptor& connection) {
    setsockopt(connection.get(), SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    setsockopt(connection.get(), SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof patience);
}

bool isReadable(int descriptor, int stopped, int milliseconds) {
    std::array<pollfd, 2> polled{pollfd{descriptor, POLLIN, 0}, pollfd{stopped, POLLIN, 0}};
    return poll(polled.data(), polled.size(), milliseconds) > 0 && polled[0].revents != 0 &&
           polled[1].revents == 0;
}

// The token comes in one piece; its sender then waits for the end of the connection.
void answer(const FileDescriptor& client, int stopped, const InstanceChannel::Show& show) {
    std::array<char, longestToken> buffer;
    const int milliseconds = static_cast<int>(patience.tv_sec) * 1000;
    if (!isReadable(client.get(), stopped, milliseconds))
        return;
    const ssize_t count = read(client.get(), buffer.data(), buffer.size());
    if (count > 0)
        show({buffer.data() + 1, static_cast<std::size_t>(count) - 1});
}

void serve(const ListeningSocket& socket, const InstanceChannel::Show& show, std::stop_token stop) {
    nameThisThread("ai.tavik.second");
    const StopSignal stopSignal(stop);
    while (!stop.stop_requested())
        if (isReadable(socket.descriptor(), stopSignal.descriptor(), -1))
            if (const FileDescriptor client = socket.accept())
                answer(client, stopSignal.descriptor(), show);
}

// It may have the lock already and not serve yet.
FileDescriptor connectToFirst() {
    FileDescriptor first;
    for (int attempt = 0; attempt < attempts && !first; ++attempt) {
        if (attempt > 0)
            std::this_thread::sleep_for(attemptPause);
        first = connectSocket(instanceSocketPath());
    }
    return first;
}

// Wayland's and X11's.
std::string activationToken() {
    for (const char* name : {"XDG_ACTIVATION_TOKEN", "DESKTOP_STARTUP_ID"})
        if (const std::string token = environmentValue(name); !token.empty())
            return token.substr(0, longestToken - 1);
    return "";
}

} // namespace

InstanceChannel::InstanceChannel(Show show) {
    try {
        socket = std::make_unique<ListeningSocket>(instanceSocketPath());
    } catch (const ListenError&) {
        log("[single-instance] ⚠ a second start cannot show this one: " + instanceSocketPath() +
            " cannot be served");
        return;
    }
    server = std::jthread([this, show = std::move(show)](std::stop_token stop) {
        serve(*socket, show, std::move(stop));
    });
}

InstanceChannel::~InstanceChannel() {
    if (server.joinable()) {
        server.request_stop();
        server.join();
    }
}

bool showRunningTavik() {
    const FileDescriptor first = connectToFirst();
    if (!first)
        return false;
    limitWaits(first);
    const std::string message = "+" + activationToken();
    char end = 0;
    return send(first.get(), message.data(), message.size(), MSG_NOSIGNAL) > 0 &&
           read(first.get(), &end, 1) == 0;
}

} // namespace tavik
