#pragma once

#include <stop_token>

namespace tavik {

// Starts the user's speech service and returns when it listens, when it cannot be started, or after
// two seconds. Throws Cancelled.
void startSpeechService(const std::stop_token& stop);

} // namespace tavik
