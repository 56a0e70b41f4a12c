#pragma once

#include "brains/Brain.h"
#include "platform/concurrency/Clock.h"
#include "platform/defaults/UserDefaults.h"
#include "platform/http/HttpSession.h"

#include <memory>
#include <stop_token>

namespace tavik {

// The model that the settings choose, as they stand now; made afresh for each conversation. Null
// when there is no key for the provider. `session` and `clock` outlive the brain. Throws Cancelled
// while the keyring is asked.
std::unique_ptr<Brain> makeBrain(UserDefaults& defaults, HttpSession& session, Clock& clock,
                                 std::stop_token stop = {});

// With the user's settings, the process-wide session and the machine's clock.
std::unique_ptr<Brain> makeBrain(std::stop_token stop = {});

// Opens the connection to the chosen provider ahead of the first request, when there is a key for
// it. Returns once the key is looked up; the connection is made meanwhile. Throws Cancelled.
void prepareBrain(UserDefaults& defaults, HttpSession& session, std::stop_token stop = {});
void prepareBrain(std::stop_token stop = {});

} // namespace tavik
