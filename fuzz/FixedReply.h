#pragma once

#include "platform/http/HttpSession.h"

namespace tavik::fuzz {

// Answers every request with the same response.
class FixedReply : public HttpSession {
public:
    explicit FixedReply(HttpResponse fixed)
        : response(std::move(fixed)) {}

    HttpResponse send(const HttpRequest&, std::stop_token) override { return response; }

private:
    const HttpResponse response;
};

// An error of ours: ends the process, so that the fuzzer takes notice.
inline void check(bool holds) {
    if (!holds)
        std::abort();
}

} // namespace tavik::fuzz
