#pragma once

#include "tools/stand-ins/http/RawServer.h"
#include "tools/stand-ins/services/ChildProcess.h"
#include "tools/stand-ins/services/TemporaryFolder.h"

#include <chrono>
#include <memory>

namespace tavik {

// A server for 127.0.0.1 with a certificate that it has signed itself, at the end of a way as long
// as wished.
class TlsServer {
public:
    enum class Kind {
        http2,      // speaks HTTP/2 and nothing else; its page says "two"
        statusPage, // closes each connection after a page that describes the encryption
    };

    // On the way `delay` passes after each read, each way.
    explicit TlsServer(Kind kind, std::chrono::milliseconds delay = {});
    ~TlsServer();

    std::string url(const std::string& host = "127.0.0.1") const;
    // From now on, and as long as this exists, sessions trust the certificate.
    void makeTrusted() const;

    int connectionCount() const { return way.connectionCount(); }
    // Bytes that clients sent so far.
    std::size_t bytesSent() const { return sent; }
    // Nothing comes back as long as answers are held.
    void holdAnswers(bool hold) { isHeld = hold; }

private:
    void pass(Peer& client);

    const TemporaryFolder folder;
    const int port;
    const std::chrono::milliseconds latency;
    std::unique_ptr<ChildProcess> process;
    std::atomic<std::size_t> sent = 0;
    std::atomic<bool> isHeld = false;
    RawServer way{[this](Peer& client) { pass(client); }};
};

} // namespace tavik
