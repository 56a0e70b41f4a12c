#pragma once

#include "brains/Brain.h"
#include "platform/http/HttpSession.h"
#include "tests/support/SentenceOf.h"

#include <deque>
#include <string>
#include <variant>
#include <vector>

namespace tavik {

// Answers requests with what was lined up, in that order, and remembers them.
class FakeHttpSession : public HttpSession {
public:
    void answer(int status, std::string body);
    void fail(TransportFailure failure);
    // The next request waits until it is cancelled.
    void hang();

    HttpResponse send(const HttpRequest& request, std::stop_token stop) override;
    void prepareConnection(const std::string& url) override { prepared.push_back(url); }

    // The body of the last request.
    Json sentBody() const;

    std::vector<HttpRequest> requests;
    std::vector<std::string> prepared;

private:
    struct Hang {};

    std::deque<std::variant<HttpResponse, TransportError, Hang>> outcomes;
};

// The value of a JSON text; fails the test when it is none.
Json json(std::string_view text);

} // namespace tavik
