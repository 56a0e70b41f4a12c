#include "tests/platform/http/HttpTest.h"

#include <thread>

namespace tavik {

using namespace std::chrono_literals;

HttpRequest get(const std::string& url) {
    return {.url = url, .timeout = 5s};
}

HttpRequest post(const std::string& url, std::string body) {
    return {.method = "POST", .url = url, .body = std::move(body), .timeout = 5s};
}

TransportError failureOf(HttpSession& session, const HttpRequest& request) {
    try {
        const int status = session.send(request, {}).status;
        ADD_FAILURE() << request.url << " answered " << status;
    } catch (const TransportError& error) {
        return error;
    }
    return {TransportFailure::other, ""};
}

} // namespace tavik
