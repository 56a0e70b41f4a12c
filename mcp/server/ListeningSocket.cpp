#include "mcp/server/ListeningSocket.h"

#include "mcp/UnixSocket.h"
#include "platform/files/Folders.h"

#include <cerrno>
#include <filesystem>
#include <sys/socket.h>
#include <sys/stat.h>
#include <system_error>

namespace tavik {

namespace {

constexpr int backlog = 8;
constexpr mode_t ownerOnly = 0600;

FileDescriptor openSocket() {
    FileDescriptor opened(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!opened)
        throw ListenError("[tavik-mcp] socket() failed");
    return opened;
}

[[noreturn]] void failToListen(int reason) {
    throw ListenError("[tavik-mcp] bind/listen failed: " + std::generic_category().message(reason));
}

// A full queue is a sign of life, too.
bool isServed(const sockaddr_un& address) {
    const FileDescriptor visitor = openSocket();
    const auto* generic = reinterpret_cast<const sockaddr*>(&address);
    return connect(visitor.get(), generic, sizeof address) == 0 || errno == EAGAIN;
}

bool isOurUser(int client) {
    ucred peer{};
    socklen_t size = sizeof peer;
    return getsockopt(client, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 && peer.uid == geteuid();
}

} // namespace

ListeningSocket::ListeningSocket(std::string socketPath)
    : path(std::move(socketPath))
    , socket(openSocket()) {
    if (!fitsSocketAddress(path))
        throw ListenError("[tavik-mcp] socket path too long: " + path);
    std::error_code ignored;
    createPrivateFolders(std::filesystem::path(path).parent_path().string(), ignored);
    bindAndListen();
    bound = identity();
}

ListeningSocket::~ListeningSocket() {
    if (identity() == bound)
        unlink(path.c_str());
}

void ListeningSocket::bindAndListen() {
    const auto address = socketAddress(path);
    if (!address)
        failToListen(errno);
    if (isServed(*address))
        failToListen(EADDRINUSE);
    unlink(path.c_str());
    // The mode of a socket that is not bound yet is the one that its file gets: at no moment can
    // another user connect.
    fchmod(socket.get(), ownerOnly);
    const auto* generic = reinterpret_cast<const sockaddr*>(&*address);
    if (bind(socket.get(), generic, sizeof *address) != 0 || listen(socket.get(), backlog) != 0)
        failToListen(errno);
    chmod(path.c_str(), ownerOnly);
}

ListeningSocket::FileIdentity ListeningSocket::identity() const {
    struct stat status {};
    if (lstat(path.c_str(), &status) != 0)
        return {};
    return {status.st_dev, status.st_ino};
}

FileDescriptor ListeningSocket::accept() const {
    FileDescriptor client(accept4(socket.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
    if (client && !isOurUser(client.get())) {
        client.reset();
        errno = EACCES;
    }
    return client;
}

} // namespace tavik
