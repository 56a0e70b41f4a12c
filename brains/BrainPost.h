#pragma once

#include "brains/Brain.h"
#include "platform/concurrency/Clock.h"
#include "platform/http/HttpSession.h"

#include <stop_token>
#include <string>
#include <string_view>

namespace tavik {

// The provider answered, with a status that is no success or without anything usable.
class BrainStatusError : public BrainError {
public:
    BrainStatusError(int httpStatus, std::string sentence)
        : BrainError(std::move(sentence))
        , status(httpStatus) {}

    int status;
};

// Posts `body` to the address of `request`, which carries the provider's headers, and returns the
// JSON object of the answer. Tries up to three times, with pauses on `clock`, when the network
// fails or the provider is busy. `provider` is its word in lower case, such as "openai", for log
// lines and sentences. Throws BrainError (BrainStatusError where the provider answered) or
// Cancelled.
Json brainPost(HttpRequest request, const Json& body, std::string_view provider,
               HttpSession& session, Clock& clock, std::stop_token stop);

} // namespace tavik
