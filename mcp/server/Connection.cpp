#include "mcp/server/Connection.h"

#include "app/Log.h"

#include <array>
#include <cerrno>
#include <fmt/format.h>
#include <sys/socket.h>

namespace tavik {

namespace {

using namespace std::chrono_literals;

constexpr std::size_t readBytes = 65'536;
constexpr std::size_t maximumLineBytes = 1'048'576;
constexpr std::size_t maximumOutgoingBytes = 64 * 1'048'576;
constexpr auto sendTimeout = 2s;
constexpr int methodNotFound = -32'601;

constexpr const char* disconnected = "client disconnected";

bool isForLater(ssize_t result) {
    return result < 0 && (errno == EAGAIN || errno == EINTR);
}

} // namespace

Connection::Connection(FileDescriptor client)
    : number(client.get())
    , socket(std::move(client))
    , lines(maximumLineBytes) {}

void Connection::receive(const OnRequest& onRequest) {
    std::array<char, readBytes> buffer;
    const ssize_t count = recv(socket.get(), buffer.data(), buffer.size(), 0);
    if (isForLater(count))
        return;
    if (count <= 0)
        return close(disconnected);
    for (const std::string& line : lines.take({buffer.data(), static_cast<std::size_t>(count)}))
        if (const auto request = parseJson(line); isOpen() && request && request->is_object())
            onRequest(*request);
    if (lines.hasDropped())
        close("client cut off for a line of more than 1 MiB");
}

void Connection::reply(const Json& id, Json result) {
    send({{"jsonrpc", "2.0"}, {"id", id}, {"result", std::move(result)}});
}

void Connection::replyError(const Json& id, const std::string& message) {
    send({{"jsonrpc", "2.0"},
          {"id", id},
          {"error", {{"code", methodNotFound}, {"message", message}}}});
}

void Connection::send(const Json& message) {
    if (!isOpen())
        return;
    const bool isFirst = outgoing.isEmpty();
    outgoing.append(compactJson(message) + "\n");
    if (!isFirst && outgoing.size() > maximumOutgoingBytes)
        return close("client cut off because it reads too slowly");
    if (isFirst) {
        lastProgress = std::chrono::steady_clock::now();
        flush();
    }
}

void Connection::flush() {
    if (!outgoing.flush([this](std::string_view bytes) { return write(bytes); }))
        close(disconnected);
}

std::optional<std::size_t> Connection::write(std::string_view bytes) {
    const ssize_t count = ::send(socket.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (isForLater(count))
        return 0;
    if (count < 0)
        return std::nullopt;
    lastProgress = std::chrono::steady_clock::now();
    return static_cast<std::size_t>(count);
}

std::optional<Connection::Instant> Connection::writeDeadline() const {
    if (!hasOutgoing())
        return std::nullopt;
    return lastProgress + sendTimeout;
}

void Connection::close(const std::string& reason) {
    if (!isOpen())
        return;
    log(fmt::format("[tavik-mcp] {} (fd {})", reason, number));
    socket.reset();
    outgoing.clear();
}

} // namespace tavik
