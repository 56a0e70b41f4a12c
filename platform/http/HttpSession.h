#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <stdexcept>
#include <stop_token>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tavik {

struct HttpRequest {
    using Header = std::pair<std::string, std::string>;

    std::string method = "GET";
    std::string url;
    std::vector<Header> headers;
    std::string body;
    // For the whole exchange, from resolving the name to the last byte of the body.
    std::chrono::milliseconds timeout{60'000};
    int maximumRedirects = 0;
    std::size_t maximumResponseBytes = 32 * 1024 * 1024;
};

struct HttpResponse {
    int status = 0;
    std::vector<HttpRequest::Header> headers; // in the order received, of the last response
    std::string body;

    // The first header of that name, which is compared without regard to case.
    std::optional<std::string> header(std::string_view name) const;
};

enum class TransportFailure {
    notConnectedToInternet, // this machine has no way out: no route, no interface, no resolver
    networkConnectionLost,  // the network went away under an exchange that was going on
    dataNotAllowed,         // the system forbids this program the network
    cannotFindHost,
    cannotConnectToHost,
    secureConnectionFailed, // TLS, certificates included
    timedOut,
    responseTooLarge,
    badUrl, // no http or https address
    other,
};

// No HTTP response came. `what()` is a clear phrase without secrets (never a header or a body).
class TransportError : public std::runtime_error {
public:
    TransportError(TransportFailure kind, const std::string& description)
        : std::runtime_error(description)
        , failure(kind) {}

    TransportFailure failure;
};

// Sends HTTP requests. Safe from any thread; any number of calls may run at once.
class HttpSession {
public:
    virtual ~HttpSession() = default;

    // Blocks until the whole response is there; any status counts as a response. Throws
    // TransportError, or Cancelled within 50 ms of a stop request.
    virtual HttpResponse send(const HttpRequest& request, std::stop_token stop) = 0;

    // Opens a connection to the host of `url` ahead of a request that is about to come, unless one
    // is idle there or being opened. Returns at once, and a failure has no consequence. Neither a
    // key nor the path of `url` is sent. A session without connections has nothing to prepare.
    virtual void prepareConnection(const std::string& url) { static_cast<void>(url); }
};

// A session with connections of its own, kept open and used again across calls; http and https
// only, with HTTP/2 where a server offers it encrypted. Trusts the system's certificates, or those
// in the file that SSL_CERT_FILE names. The proxies of the environment (http_proxy, https_proxy,
// all_proxy, no_proxy) or else of the desktop's settings serve every host but this machine. Callers
// that still wait when it is destroyed get Cancelled.
std::unique_ptr<HttpSession> makeHttpSession();

// The process-wide session, opened at the first use.
HttpSession& sharedHttpSession();

} // namespace tavik
