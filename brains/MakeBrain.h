#pragma once

#include "brains/Brain.h"
#include "platform/concurrency/Clock.h"
#include "platform/defaults/UserDefaults.h"
#include "platform/http/HttpSession.h"

#include <memory>

namespace tavik {

// The model that the settings choose, as they stand now; made afresh for each conversation. Null
// when there is no key for the provider. `session` and `clock` outlive the brain.
std::unique_ptr<Brain> makeBrain(UserDefaults& defaults, HttpSession& session, Clock& clock);

// With the user's settings, the process-wide session and the machine's clock.
std::unique_ptr<Brain> makeBrain();

// Opens the connection to the chosen provider ahead of the first request, when there is a key for
// it. Returns once the key is looked up; the connection is made meanwhile.
void prepareBrain(UserDefaults& defaults, HttpSession& session);
void prepareBrain();

} // namespace tavik
