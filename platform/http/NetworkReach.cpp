#include "platform/http/NetworkReach.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace tavik {

namespace {

// Connecting a datagram socket looks the route up, rules of VPNs included, without a packet.
bool canRouteTo(const sockaddr* address, socklen_t length) {
    const int probe = socket(address->sa_family, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (probe < 0)
        return false;
    const bool routed = connect(probe, address, length) == 0;
    close(probe);
    return routed;
}

// The root name servers' addresses stand for "anywhere on the internet".
bool hasIPv4Route() {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(53);
    inet_pton(AF_INET, "198.41.0.4", &address.sin_addr);
    return canRouteTo(reinterpret_cast<const sockaddr*>(&address), sizeof address);
}

bool hasIPv6Route() {
    sockaddr_in6 address{};
    address.sin6_family = AF_INET6;
    address.sin6_port = htons(53);
    inet_pton(AF_INET6, "2001:503:ba3e::2:30", &address.sin6_addr);
    return canRouteTo(reinterpret_cast<const sockaddr*>(&address), sizeof address);
}

} // namespace

bool hasRouteOut() {
    return hasIPv4Route() || hasIPv6Route();
}

} // namespace tavik
