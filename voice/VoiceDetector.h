#pragma once

#include "voice/VoiceState.h"

namespace tavik {

// Begins a capture, in which nobody has spoken yet, and in which somebody must begin within
// `onsetTimeout`.
void resetVoiceDetector(VoiceState& state, Clock::Instant now, Clock::Duration onsetTimeout);

// Notes a buffer of the given level (linear amplitude). It counts as voice when it is at least a
// fraction of the loudest buffer of the command so far, and above the noise floor. Voice that
// begins too late, or after the silence that ends a command, ends the command instead.
void detectVoice(VoiceState& state, double level, Clock::Instant now);

} // namespace tavik
