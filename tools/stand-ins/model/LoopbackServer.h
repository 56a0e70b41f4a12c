#pragma once

#include <functional>
#include <map>
#include <memory>
#include <stop_token>
#include <string>

namespace tavik {

struct ServedRequest {
    std::string method;
    std::string path;
    std::map<std::string, std::string> headers; // names in lower case
    std::string body;

    // Empty when there is none.
    std::string header(const std::string& name) const;
};

struct ServedResponse {
    int status = 200;
    std::string contentType = "application/json";
    std::string body;
    bool cutConnection = false; // close without a word instead
};

// An HTTP server on 127.0.0.1 with a port of the system's choice. It keeps connections open between
// requests, and its destruction ends them all at once.
class LoopbackServer {
public:
    // Called on the connection's thread, for several connections at once. The stop request says
    // that the server is going away.
    using Handler = std::function<ServedResponse(const ServedRequest&, std::stop_token)>;

    // Throws std::runtime_error when no port can be had.
    explicit LoopbackServer(Handler handler);
    ~LoopbackServer();

    int port() const;
    // Connections accepted so far.
    int connectionCount() const;

private:
    class Implementation;
    std::unique_ptr<Implementation> implementation;
};

} // namespace tavik
