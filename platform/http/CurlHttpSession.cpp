#include "platform/http/CurlHttpSession.h"

#include "platform/concurrency/Cancelled.h"
#include "platform/http/NetworkReach.h"
#include "platform/http/TransferLoop.h"

#include <curl/curl.h>
#include <stdexcept>
#include <utility>

namespace tavik {

namespace {

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
