#pragma once

#include "mcp/UnixSocket.h"
#include "platform/json/Json.h"

#include <chrono>
#include <cstdlib>
#include <deque>
#include <optional>
#include <poll.h>
#include <stdexcept>
#include <string>
#include <sys/socket.h>

namespace tavik {

// An agent's end of the server's socket.
class SocketClient {
public:
    explicit SocketClient(const std::string& path)
        : socket(connectSocket(path)) {}

    bool isConnected() const { return static_cast<bool>(socket); }
    int descriptor() const { return socket.get(); }
    void disconnect() { socket.reset(); }

    // False when the server is gone.
    bool sendBytes(std::string_view bytes) const {
        while (!bytes.empty()) {
            const ssize_t count = ::send(socket.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
            if (count <= 0)
                return false;
            bytes.remove_prefix(static_cast<std::size_t>(count));
        }
        return true;
    }
    bool send(const Json& message) const { return sendBytes(compactJson(message) + "\n"); }

    // The next line; nothing when none comes or the connection has ended.
    std::optional<std::string>
    readLine(std::chrono::milliseconds patience = std::chrono::seconds(20)) {
        while (unread.find('\n') == std::string::npos)
            if (!receive(patience))
                return std::nullopt;
        const std::size_t end = unread.find('\n');
        std::string line = unread.substr(0, end);
        unread.erase(0, end + 1);
        return line;
    }
    Json read() { return parseJson(readLine().value_or("null")).value(); }

    Json ask(const Json& message) {
        send(message);
        return read();
    }
    Json call(const std::string& tool, const Json& arguments = Json::object()) {
        return ask({{"id", 1},
                    {"method", "tools/call"},
                    {"params", {{"name", tool}, {"arguments", arguments}}}})["result"];
    }

    // Whether the server closes the connection, after whatever it still says.
    bool isClosed(std::chrono::milliseconds patience = std::chrono::seconds(20)) {
        while (receive(patience)) {
        }
        return hasEnded;
    }

private:
    bool receive(std::chrono::milliseconds patience) {
        pollfd waiting{socket.get(), POLLIN, 0};
        if (poll(&waiting, 1, static_cast<int>(patience.count())) <= 0)
            return false;
        char buffer[65'536];
        const ssize_t count = recv(socket.get(), buffer, sizeof buffer, 0);
        hasEnded = count <= 0;
        if (!hasEnded)
            unread.append(buffer, static_cast<std::size_t>(count));
        return !hasEnded;
    }

    FileDescriptor socket;
    std::string unread;
    bool hasEnded = false;
};

} // namespace tavik
