#include "platform/speech/SsipAddress.h"

#include "app/Paths.h"
#include "platform/speech/SpeechOutput.h"
#include "platform/speech/SpeechServiceStart.h"
#include "platform/text/Environment.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace tavik {

namespace {

// The socket, or a negative number. A local service accepts or refuses at once.
int connectTo(int family, const void* address, socklen_t length) {
    const int descriptor = socket(family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (descriptor >= 0 && connect(descriptor, static_cast<const sockaddr*>(address), length) == 0)
        return descriptor;
    if (descriptor >= 0 && family == AF_INET && errno == EINPROGRESS)
        return descriptor; // the first command finds out
    if (descriptor >= 0)
        close(descriptor);
    return -1;
}

int connectToUnixSocket(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path)
        throw SpeechError("the address of the speech service is too long");
    std::memcpy(address.sun_path, path.c_str(), path.size());
    return connectTo(AF_UNIX, &address, sizeof address);
}

int connectToLoopback(const std::string& hostAndPort) {
    const std::size_t colon = hostAndPort.rfind(':');
    const std::string host = hostAndPort.substr(0, colon);
    const std::string port = colon == std::string::npos ? "6560" : hostAndPort.substr(colon + 1);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(std::strtoul(port.c_str(), nullptr, 10)));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (host != "localhost" && !host.starts_with("127."))
        throw SpeechError("the speech service must be on this machine");
    return connectTo(AF_INET, &address, sizeof address);
}

std::string usualPath() {
    std::string folder = environmentValue("XDG_RUNTIME_DIR");
    if (folder.empty())
        folder = environmentValue("XDG_CACHE_HOME");
    if (folder.empty())
        folder = pathInHome(".cache");
    return folder + "/speech-dispatcher/speechd.sock";
}

int connectToUsersService(const std::stop_token& stop) {
    const std::string path = usualPath();
    const int descriptor = connectToUnixSocket(path);
    if (descriptor >= 0)
        return descriptor;
    startSpeechService(stop);
    return connectToUnixSocket(path);
}

int connectToAddress(const std::string& address, const std::stop_token& stop) {
    const std::string unixPrefix = "unix_socket:";
    const std::string inetPrefix = "inet_socket:";
    if (address.empty() || address == "unix_socket")
        return connectToUsersService(stop);
    if (address == "inet_socket")
        return connectToLoopback("localhost");
    if (address.starts_with(unixPrefix))
        return connectToUnixSocket(address.substr(unixPrefix.size()));
    if (address.starts_with(inetPrefix))
        return connectToLoopback(address.substr(inetPrefix.size()));
    throw SpeechError("SPEECHD_ADDRESS is no address of a speech service");
}

} // namespace

int connectToSpeechService(const std::stop_token& stop) {
    const int descriptor = connectToAddress(environmentValue("SPEECHD_ADDRESS"), stop);
    if (descriptor < 0)
        throw SpeechError("no speech service answers");
    return descriptor;
}

} // namespace tavik
