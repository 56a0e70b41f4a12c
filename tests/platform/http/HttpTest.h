#pragma once

#include "platform/http/HttpSession.h"
#include "tests/support/Eventually.h"

#include <functional>
#include <gmock/gmock.h>

namespace tavik {

// Requests that give up after 5 s.
HttpRequest get(const std::string& url);
HttpRequest post(const std::string& url, std::string body = "body");

// Fails the test when an answer comes.
TransportError failureOf(HttpSession& session, const HttpRequest& request);

class HttpTest : public testing::Test {
protected:
    HttpResponse fetch(const std::string& url) { return session->send(get(url), {}); }
    TransportFailure failureKind(const HttpRequest& request) {
        return failureOf(*session, request).failure;
    }

    std::unique_ptr<HttpSession> session = makeHttpSession();
};

} // namespace tavik
