#pragma once

#include "brains/Brain.h"
#include "platform/defaults/UserDefaults.h"
#include "platform/http/HttpSession.h"

#include <stop_token>
#include <string>

namespace tavik {

// Tests a key and a model before they are saved: it asks the provider to describe the model, which
// costs nothing. Billing and limits show only when an answer is asked for.
class BrainConnection {
public:
    // The provider's host is the one that `defaults` name.
    explicit BrainConnection(UserDefaults& defaults = UserDefaults::standard(),
                             HttpSession& session = sharedHttpSession());

    // The request for the description of `model`. Throws BrainError when the provider is none of
    // the four words, or the key cannot be one.
    HttpRequest request(const std::string& provider, const std::string& key,
                        const std::string& model) const;

    // Asks once, for 15 s at most, and returns when the key is accepted and the model exists.
    // Throws BrainError otherwise, or Cancelled.
    void check(const std::string& provider, const std::string& key, const std::string& model,
               std::stop_token stop) const;

private:
    UserDefaults& defaults;
    HttpSession& session;
};

} // namespace tavik
