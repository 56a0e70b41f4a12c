#include "platform/http/CurlHttpSession.h"

#include "platform/concurrency/Cancelled.h"
#include "platform/http/NetworkReach.h"
#include "platform/http/TransferLoop.h"
#include "platform/http/WebAddress.h"

#include <curl/curl.h>
#include <stdexcept>
#include <utility>

namespace tavik {

namespace {

// Whoever speaks a command is done with it by then.
constexpr std::chrono::seconds connectingTimeout{10};

void startLibrary() {
    // Never cleaned up: a resolver's thread may outlive every session.
    static const CURLcode started = curl_global_init(CURL_GLOBAL_DEFAULT);
    if (started != CURLE_OK)
        throw std::runtime_error("The HTTP library could not be started.");
}

HttpResponse responseOf(PendingResponse::Outcome outcome) {
    if (const auto* error = std::get_if<TransportError>(&outcome))
        throw *error;
    if (std::holds_alternative<Cancelled>(outcome))
        throw Cancelled();
    return std::get<HttpResponse>(std::move(outcome));
}

// The least that makes a server keep a connection.
HttpRequest connectingRequest(const WebAddress& address) {
    HttpRequest request;
    request.method = "HEAD";
    request.url = address.origin() + "/";
    request.timeout = connectingTimeout;
    return request;
}

class CurlHttpSession : public HttpSession {
public:
    explicit CurlHttpSession(std::function<bool()> routeProbe)
        : loop(std::make_shared<TransferLoop>(std::move(routeProbe))) {}

    ~CurlHttpSession() override { loop->close(); }

    HttpResponse send(const HttpRequest& request, std::stop_token stop) override {
        throwIfStopped(stop);
        // The loop outlives the session for as long as somebody is on the way out of here.
        const std::shared_ptr<TransferLoop> running = loop;
        const auto exchange = std::make_shared<Exchange>(request);
        running->start(exchange);
        auto outcome = exchange->pending.wait(std::move(stop));
        if (outcome)
            return responseOf(std::move(*outcome));
        running->abandon(exchange);
        throw Cancelled();
    }

    void prepareConnection(const std::string& url) override {
        if (const auto address = WebAddress::parse(url))
            loop->start(std::make_shared<Exchange>(connectingRequest(*address),
                                                   Exchange::Purpose::connection));
    }

private:
    const std::shared_ptr<TransferLoop> loop;
};

} // namespace

std::unique_ptr<HttpSession> makeHttpSession(std::function<bool()> routeProbe) {
    startLibrary();
    return std::make_unique<CurlHttpSession>(std::move(routeProbe));
}

std::unique_ptr<HttpSession> makeHttpSession() {
    return makeHttpSession(hasRouteOut);
}

HttpSession& sharedHttpSession() {
    static const std::unique_ptr<HttpSession> session = makeHttpSession();
    return *session;
}

} // namespace tavik
