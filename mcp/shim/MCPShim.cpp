#include "mcp/shim/MCPShim.h"

#include "mcp/UnixSocket.h"
#include "mcp/shim/AppLaunch.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <thread>
#include <unistd.h>

namespace tavik {

namespace {

using namespace std::chrono_literals;

constexpr int attempts = 40;
constexpr auto attemptPause = 250ms;
constexpr timeval sendTimeout{2, 0};
constexpr std::size_t bufferBytes = 65'536;

constexpr std::string_view notRunning =
    "tavik-mcp: Tavik.app is not running and could not be started — launch Tavik first.\n";

// Two threads may get here at once, so nothing of the process is taken down.
[[noreturn]] void end(int status) {
    _exit(status);
}

// Whether a descriptor that was passed to us not to block is ready by now. One that does block has
// reached its time-out.
bool canGoOn(int descriptor, short event) {
    if (errno == EINTR)
        return true;
    if (errno != EAGAIN || (fcntl(descriptor, F_GETFL) & O_NONBLOCK) == 0)
        return false;
    pollfd waiting{descriptor, event, 0};
    return poll(&waiting, 1, -1) >= 0 || errno == EINTR;
}

bool writeAll(int descriptor, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t count = write(descriptor, bytes.data(), bytes.size());
        if (count > 0)
            bytes.remove_prefix(static_cast<std::size_t>(count));
        else if (count == 0 || !canGoOn(descriptor, POLLOUT))
            return false;
    }
    return true;
}

ssize_t readSome(int descriptor, char* buffer) {
    ssize_t count = 0;
    do
        count = read(descriptor, buffer, bufferBytes);
    while (count < 0 && canGoOn(descriptor, POLLIN));
    return count;
}

// Until either side ends, and the process with it.
[[noreturn]] void pump(int from, int to) {
    std::array<char, bufferBytes> buffer;
    while (true) {
        const ssize_t count = readSome(from, buffer.data());
        if (count <= 0)
            end(EXIT_SUCCESS);
        if (!writeAll(to, {buffer.data(), static_cast<std::size_t>(count)}))
            end(EXIT_FAILURE);
    }
}

FileDescriptor connectToStartedApp(const std::string& path) {
    launchTavikApp();
    FileDescriptor connected;
    for (int attempt = 0; attempt < attempts && !connected; ++attempt) {
        std::this_thread::sleep_for(attemptPause);
        connected = connectSocket(path);
    }
    return connected;
}

FileDescriptor connectToApp() {
    const std::string path = mcpSocketPath();
    FileDescriptor connected = connectSocket(path);
    if (!connected && std::getenv("TAVIK_MCP_SOCKET") == nullptr)
        connected = connectToStartedApp(path);
    return connected;
}

} // namespace

void runMCPShim() {
    std::signal(SIGPIPE, SIG_IGN);
    const FileDescriptor app = connectToApp();
    if (!app) {
        writeAll(STDERR_FILENO, notRunning);
        end(EXIT_FAILURE);
    }
    setsockopt(app.get(), SOL_SOCKET, SO_SNDTIMEO, &sendTimeout, sizeof sendTimeout);
    std::thread([&app] { pump(app.get(), STDOUT_FILENO); }).detach(); // ends with the process
    pump(STDIN_FILENO, app.get());
}

} // namespace tavik
