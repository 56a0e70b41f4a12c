// The bridge that agents start, beside socat on the same socket: from its start to the first byte
// through, a gigabyte each way, and its memory.
// Arguments: the tavik program.

#include "bench/FreshHome.h"
#include "mcp/UnixSocket.h"
#include "platform/process/SpawnedProcess.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <poll.h>
#include <sys/socket.h>
#include <system_error>
#include <thread>

namespace {

using namespace tavik;
using std::chrono::steady_clock;

constexpr int starts = 200;
constexpr std::size_t gigabyte = 1'000'000'000;
constexpr std::size_t pieceBytes = 65'536;

double secondsSince(steady_clock::time_point start) {
    return std::chrono::duration<double>(steady_clock::now() - start).count();
}

void waitUntilReadable(int descriptor) {
    pollfd waiting{descriptor, POLLIN, 0};
    poll(&waiting, 1, -1);
}

void makeBlocking(int descriptor) {
    fcntl(descriptor, F_SETFL, fcntl(descriptor, F_GETFL) & ~O_NONBLOCK);
}

void sendGigabyte(int descriptor) {
    const std::string piece(pieceBytes, 'x');
    for (std::size_t sent = 0; sent < gigabyte;)
        sent += static_cast<std::size_t>(
            std::max<ssize_t>(write(descriptor, piece.data(), piece.size()), 0));
}

void receiveGigabyte(int descriptor) {
    std::string piece(pieceBytes, '\0');
    for (std::size_t received = 0; received < gigabyte;)
        received += static_cast<std::size_t>(
            std::max<ssize_t>(read(descriptor, piece.data(), piece.size()), 0));
}

long residentKilobytes(pid_t process) {
    std::ifstream status("/proc/" + std::to_string(process) + "/status");
    for (std::string line; std::getline(status, line);)
        if (line.starts_with("VmRSS:"))
            return std::atol(line.c_str() + 6);
    return 0;
}

class ServerEnd {
public:
    explicit ServerEnd(const std::string& path)
        : listener(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        const auto address = socketAddress(path).value();
        const auto* generic = reinterpret_cast<const sockaddr*>(&address);
        if (bind(listener.get(), generic, sizeof address) != 0 || listen(listener.get(), 1) != 0)
            throw std::system_error(errno, std::generic_category(), path);
    }
    FileDescriptor accept() const {
        return FileDescriptor(accept4(listener.get(), nullptr, nullptr, SOCK_CLOEXEC));
    }

private:
    FileDescriptor listener;
};

// Of several starts the median, in milliseconds, from the start to a byte there and back.
double firstByte(const ServerEnd& server, const SpawnedProcess::Command& command) {
    std::vector<double> times;
    for (int round = 0; round < starts; ++round) {
        const auto start = steady_clock::now();
        const SpawnedProcess bridge(command);
        bridge.write("x");
        const FileDescriptor client = server.accept();
        char byte = 0;
        recv(client.get(), &byte, 1, 0);
        send(client.get(), &byte, 1, MSG_NOSIGNAL);
        waitUntilReadable(bridge.output());
        times.push_back(secondsSince(start) * 1000);
    }
    std::sort(times.begin(), times.end());
    return times[times.size() / 2];
}

struct Transfer {
    double toServer; // in seconds
    double fromServer;
    long residentKilobytes;
};

Transfer transfer(const ServerEnd& server, const SpawnedProcess::Command& command) {
    const SpawnedProcess bridge(command);
    const FileDescriptor client = server.accept();
    makeBlocking(bridge.input());
    makeBlocking(bridge.output());
    Transfer result{};
    auto start = steady_clock::now();
    std::jthread sender([&] { sendGigabyte(bridge.input()); });
    receiveGigabyte(client.get());
    result.toServer = secondsSince(start);
    sender.join();
    start = steady_clock::now();
    sender = std::jthread([&] { sendGigabyte(client.get()); });
    receiveGigabyte(bridge.output());
    result.fromServer = secondsSince(start);
    result.residentKilobytes = residentKilobytes(bridge.pid());
    return result;
}

double bareStart() {
    std::vector<double> times;
    for (int round = 0; round < starts; ++round) {
        const auto start = steady_clock::now();
        const SpawnedProcess process({"/bin/true", {}, {}});
        waitUntilReadable(process.exit());
        times.push_back(secondsSince(start) * 1000);
    }
    std::sort(times.begin(), times.end());
    return times[times.size() / 2];
}

} // namespace

int main(int count, char** arguments) {
    if (count != 2) {
        std::fputs("usage: bench_shim TAVIK\n", stderr);
        return 2;
    }
    const FreshHome home;
    const std::string path = home.file("s");
    setenv("TAVIK_MCP_SOCKET", path.c_str(), 1);
    const ServerEnd server(path);
    const SpawnedProcess::Command ours = {arguments[1], {"--mcp"}, {}};
    const SpawnedProcess::Command peer = {"/usr/bin/socat", {"-", "UNIX-CONNECT:" + path}, {}};

    const double start = firstByte(server, ours);
    const double peerStart = firstByte(server, peer);
    std::printf("first byte there and back %6.2f ms; socat %.2f, ratio %.2f; /bin/true %.2f\n",
                start, peerStart, start / peerStart, bareStart());
    const Transfer ourTransfer = transfer(server, ours);
    const Transfer peerTransfer = transfer(server, peer);
    std::printf("1 GB to the server   %6.2f s; socat %.2f, ratio %.2f\n", ourTransfer.toServer,
                peerTransfer.toServer, ourTransfer.toServer / peerTransfer.toServer);
    std::printf("1 GB from the server %6.2f s; socat %.2f, ratio %.2f\n", ourTransfer.fromServer,
                peerTransfer.fromServer, ourTransfer.fromServer / peerTransfer.fromServer);
    std::printf("resident memory      %6ld kB; socat %ld kB\n", ourTransfer.residentKilobytes,
                peerTransfer.residentKilobytes);
    return 0;
}
