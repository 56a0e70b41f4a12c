#include "mcp/UnixSocket.h"

#include "app/Paths.h"

#include <cerrno>
#include <cstdlib>
#include <sys/socket.h>

namespace tavik {

namespace {

constexpr std::size_t maximumPathBytes = 103;

std::optional<sockaddr_un> refuse(int reason) {
    errno = reason;
    return std::nullopt;
}

} // namespace

std::string mcpSocketPath() {
    const char* path = std::getenv("TAVIK_MCP_SOCKET");
    return path ? path : defaultSocketPath();
}

bool fitsSocketAddress(std::string_view path) {
    return path.size() <= maximumPathBytes;
}

// An empty path would stand for an address outside the file system, open to every user.
std::optional<sockaddr_un> socketAddress(std::string_view path) {
    if (path.empty())
        return refuse(ENOENT);
    if (!fitsSocketAddress(path))
        return refuse(ENAMETOOLONG);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, maximumPathBytes);
    return address;
}

FileDescriptor connectSocket(const std::string& path) {
    const auto address = socketAddress(path);
    if (!address)
        return {};
    FileDescriptor opened(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const auto* generic = reinterpret_cast<const sockaddr*>(&*address);
    while (opened && connect(opened.get(), generic, sizeof *address) != 0)
        if (const int reason = errno; reason != EINTR) {
            opened.reset();
            errno = reason;
        }
    return opened;
}

} // namespace tavik
