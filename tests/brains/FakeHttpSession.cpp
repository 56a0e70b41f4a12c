#include "tests/brains/FakeHttpSession.h"

#include "platform/concurrency/Cancelled.h"
#include "platform/concurrency/Clock.h"

namespace tavik {

void FakeHttpSession::answer(int status, std::string body) {
    outcomes.emplace_back(HttpResponse{status, {}, std::move(body)});
}

void FakeHttpSession::fail(TransportFailure failure) {
    outcomes.emplace_back(TransportError(failure, "as the test wants it"));
}

void FakeHttpSession::hang() {
    outcomes.emplace_back(Hang{});
}

HttpResponse FakeHttpSession::send(const HttpRequest& request, std::stop_token stop) {
    throwIfStopped(stop);
    requests.push_back(request);
    if (outcomes.empty()) {
        ADD_FAILURE() << "an unexpected request to " << request.url;
        throw Cancelled();
    }
    const auto outcome = std::move(outcomes.front());
    outcomes.pop_front();
    if (const auto* error = std::get_if<TransportError>(&outcome))
        throw *error;
    if (std::holds_alternative<Hang>(outcome))
        systemClock().sleepFor(std::chrono::seconds(30), stop);
    return std::get<HttpResponse>(outcome);
}

Json FakeHttpSession::sentBody() const {
    return requests.empty() ? Json() : json(requests.back().body);
}

Json json(std::string_view text) {
    const auto value = parseJson(text);
    EXPECT_TRUE(value) << text;
    return value.value_or(Json());
}

} // namespace tavik
