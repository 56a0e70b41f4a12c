#pragma once

#include "voice/VoiceState.h"

namespace tavik {

// Begins a capture: nothing heard yet.
void resetVoiceDetector(VoiceState& state, Clock::Instant now);

// Notes a buffer of the given level (linear amplitude). It counts as voice when it is at least a
// fraction of the loudest buffer of the command so far, and above the noise floor.
void detectVoice(VoiceState& state, double level, Clock::Instant now);

} // namespace tavik
