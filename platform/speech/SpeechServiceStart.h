#pragma once

namespace tavik {

// Starts the user's speech service and returns when it listens, when it cannot be started, or after
// two seconds.
void startSpeechService();

} // namespace tavik
