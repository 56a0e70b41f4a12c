#include "voice/VoiceDetector.h"

#include <algorithm>

namespace tavik {

void resetVoiceDetector(VoiceState& state, Clock::Instant now) {
    state.heardSpeech = false;
    state.peakLevel = 0;
    state.lastVoiceTime = now;
}

void detectVoice(VoiceState& state, double level, Clock::Instant now) {
    state.peakLevel = std::max(state.peakLevel, level);
    const double threshold =
        std::max(state.peakLevel * tuning::VOICE_FRACTION, tuning::NOISE_FLOOR_MIN);
    if (level < threshold)
        return;
    state.heardSpeech = true;
    state.lastVoiceTime = now;
}

} // namespace tavik
