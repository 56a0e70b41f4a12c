#pragma once

#include "voice/VoiceState.h"

namespace tavik {

// Begins a capture, in which nobody has spoken yet, and in which somebody must begin within
// `onsetTimeout`.
void resetVoiceDetector(VoiceState& state, Clock::Instant now, Clock::Duration onsetTimeout);

// Until when the command could be heard: `now`, or when its microphone was lost, while that is
// being replaced. One that is away for too long counts as silent.
Clock::Instant heardUntil(const VoiceState& state, Clock::Instant now);

// Notes a buffer of the given level (linear amplitude). It counts as voice when it is at least a
// fraction of the loudest buffer of the command so far, and above the noise floor. Voice that
// begins too late, or after the silence that ends a command, ends the command instead. The time in
// which nothing could be heard is no silence.
void detectVoice(VoiceState& state, double level, Clock::Instant now);

} // namespace tavik
