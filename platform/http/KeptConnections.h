#pragma once

#include <chrono>
#include <map>
#include <string>

namespace tavik {

// The connections that libcurl keeps open after an answer, which it does not tell by itself.
// Private to this folder; lives on the transferring thread.
class KeptConnections {
public:
    // How long a connection is kept without being used.
    static constexpr std::chrono::seconds longestIdle{118};

    // An answer came through `socket`, which stays open.
    void keep(int socket, std::string origin);
    void forget(int socket);

    // How many lead to `origin` and look fit for another request.
    int usableFor(const std::string& origin) const;

private:
    struct Connection {
        std::string origin;
        std::chrono::steady_clock::time_point lastUse;
    };

    std::map<int, Connection> connections; // by socket
};

} // namespace tavik
