#pragma once

#include "mcp/LineBuffer.h"
#include "mcp/OutgoingBytes.h"
#include "platform/files/FileDescriptor.h"
#include "platform/json/Json.h"

#include <chrono>
#include <functional>
#include <optional>
#include <string>

namespace tavik {

// One connected client: JSON-RPC 2.0 messages, an object a line, both ways. It never blocks.
// Belongs to the thread of the server's loop. Protocol: JSON-RPC 2.0, https://www.jsonrpc.org
class Connection {
public:
    using Instant = std::chrono::steady_clock::time_point;
    using OnRequest = std::function<void(const Json& request)>;

    // `client` is a stream socket that does not block.
    explicit Connection(FileDescriptor client);

    int descriptor() const { return number; }
    bool isOpen() const { return static_cast<bool>(socket); }

    // Takes some of the bytes that have arrived and hands over each object that they complete.
    // Lines that are none are dropped. The end of the stream closes the connection, and so does a
    // line of more than a mebibyte.
    void receive(const OnRequest& onRequest);

    void reply(const Json& id, Json result);

    // The only error that there is: a method that is not supported.
    void replyError(const Json& id, const std::string& message);

    // Writes on with what the client has not taken yet.
    void flush();
    bool hasOutgoing() const { return !outgoing.isEmpty(); }

    // When a client that takes nothing of what is waiting for it is cut off.
    std::optional<Instant> writeDeadline() const;

    // Writes a line about the client to the log, and closes. Does nothing when it is closed.
    void close(const std::string& reason);

private:
    void send(const Json& message);
    std::optional<std::size_t> write(std::string_view bytes);

    const int number;
    FileDescriptor socket;
    LineBuffer lines;
    OutgoingBytes outgoing;
    Instant lastProgress; // of writing
};

} // namespace tavik
