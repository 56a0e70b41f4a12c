#include "platform/speech/SsipAddress.h"

#include "platform/speech/SpeechOutput.h"

#include <arpa/inet.h>
#include <array>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <netinet/in.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

extern char** environ;

namespace tavik {

namespace {

using namespace std::chrono_literals;
using std::chrono::steady_clock;

constexpr const char* noService = "no speech service answers";
constexpr auto spawnPatience = 2s;

std::string environmentValue(const char* name) {
    const char* value = std::getenv(name);
    return value ? value : "";
}

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

// Starts the service and waits until the starter is done, which it is once the service listens.
void spawnService() {
    std::string program = "speech-dispatcher";
    std::string option = "--spawn";
    std::array<char*, 3> arguments{program.data(), option.data(), nullptr};
    pid_t starter = 0;
    if (posix_spawnp(&starter, program.c_str(), nullptr, nullptr, arguments.data(), environ) != 0)
        return;
    const auto deadline = steady_clock::now() + spawnPatience;
    while (waitpid(starter, nullptr, WNOHANG) == 0) {
        if (steady_clock::now() > deadline) {
            kill(starter, SIGKILL);
            waitpid(starter, nullptr, 0);
            return;
        }
        std::this_thread::sleep_for(10ms);
    }
}

int connectToUsersService() {
    const std::string runtime = environmentValue("XDG_RUNTIME_DIR");
    if (runtime.empty())
        throw SpeechError(noService);
    const std::string path = runtime + "/speech-dispatcher/speechd.sock";
    const int descriptor = connectToUnixSocket(path);
    if (descriptor >= 0)
        return descriptor;
    spawnService();
    return connectToUnixSocket(path);
}

int connectToAddress(const std::string& address) {
    const std::string unixPrefix = "unix_socket:";
    const std::string inetPrefix = "inet_socket:";
    if (address.starts_with(unixPrefix))
        return connectToUnixSocket(address.substr(unixPrefix.size()));
    if (address.starts_with(inetPrefix))
        return connectToLoopback(address.substr(inetPrefix.size()));
    throw SpeechError("SPEECHD_ADDRESS is no address of a speech service");
}

} // namespace

int connectToSpeechService() {
    const std::string address = environmentValue("SPEECHD_ADDRESS");
    const int descriptor = address.empty() ? connectToUsersService() : connectToAddress(address);
    if (descriptor < 0)
        throw SpeechError(noService);
    return descriptor;
}

} // namespace tavik
