#include "platform/http/KeptConnections.h"

#include <algorithm>
#include <poll.h>
#include <utility>

namespace tavik {

namespace {

using std::chrono::steady_clock;

// The caller's request comes some seconds later.
constexpr std::chrono::seconds margin{15};

// On an idle connection nothing is to be read, unless the server closes it or has to be listened
// to.
bool isQuiet(int socket) {
    pollfd look{socket, POLLIN | POLLRDHUP, 0};
    return poll(&look, 1, 0) == 0;
}

} // namespace

void KeptConnections::keep(int socket, std::string origin) {
    connections[socket] = {std::move(origin), steady_clock::now()};
}

void KeptConnections::forget(int socket) {
    connections.erase(socket);
}

int KeptConnections::usableFor(const std::string& origin) const {
    const auto tooOld = steady_clock::now() - longestIdle + margin;
    return static_cast<int>(
        std::count_if(connections.begin(), connections.end(), [&](const auto& entry) {
            const auto& [socket, connection] = entry;
            return connection.origin == origin && connection.lastUse > tooOld && isQuiet(socket);
        }));
}

} // namespace tavik
