#include "voice/VoiceDetector.h"

#include <algorithm>

namespace tavik {

void resetVoiceDetector(VoiceState& state, Clock::Instant now, Clock::Duration onsetTimeout) {
    state.heardSpeech = false;
    state.isCommandOver = false;
    state.peakLevel = 0;
    state.lastVoiceTime = now;
    if (state.deafSince)
        state.deafSince = now;
    state.onsetDeadline = now + onsetTimeout;
}

Clock::Instant heardUntil(const VoiceState& state, Clock::Instant now) {
    const bool isDeaf = state.deafSince && now - *state.deafSince < tuning::DEAF_FOR;
    return isDeaf ? *state.deafSince : now;
}

void detectVoice(VoiceState& state, double level, Clock::Instant now) {
    const auto missed = now - heardUntil(state, now);
    state.lastVoiceTime += missed;
    state.onsetDeadline += missed;
    state.deafSince.reset();
    state.peakLevel = std::max(state.peakLevel, level);
    const double threshold =
        std::max(state.peakLevel * tuning::VOICE_FRACTION, tuning::NOISE_FLOOR_MIN);
    if (level < threshold)
        return;
    // Whoever waits for the end looks from time to time only; what is said in between is too late.
    const auto deadline =
        state.heardSpeech ? state.lastVoiceTime + tuning::END_SILENCE : state.onsetDeadline;
    state.isCommandOver = state.isCommandOver || now > deadline;
    if (state.isCommandOver)
        return;
    state.heardSpeech = true;
    state.lastVoiceTime = now;
}

} // namespace tavik
