#pragma once

#include "platform/audio/AudioServer.h"
#include "platform/concurrency/Clock.h"
#include "platform/concurrency/Locked.h"
#include "voice/SampleRing.h"

#include <memory>
#include <optional>
#include <vector>

namespace tavik {

class WakeDetector;
struct VoiceServices;

// Hears what the loudspeaker plays while Tavik speaks, so that its own "Hey Vessa", coming back
// through the microphone, is not taken for the user's. The sound server lets every output be
// recorded, which needs no echo canceller, no word timing from the synthesiser, and goes for what
// other programs play in that time as well. For one thread.
class LoudspeakerEar {
public:
    LoudspeakerEar(const VoiceServices& services, WakeDetector& detector);
    ~LoudspeakerEar();
    LoudspeakerEar(const LoudspeakerEar&) = delete;
    LoudspeakerEar& operator=(const LoudspeakerEar&) = delete;

    // To be called all the time, five times a second: listens while Tavik speaks. Throws Cancelled.
    void follow(bool isSpeaking, std::stop_token stop);

    // Whether the loudspeaker said the wake phrase just now, so that the microphone may be hearing
    // it. False when the loudspeaker cannot be recorded.
    bool heardWakePhrase() const;

    // What the microphone heard until now without what the loudspeaker plays: with Tavik's own
    // words in it nobody could tell the user's from them.
    std::vector<float> withoutOwnVoice(std::span<const float> heard);

private:
    struct Recording;

    void open(std::stop_token stop);
    void look();

    const VoiceServices& services;
    WakeDetector& detector;
    bool wasSpeaking = false;
    std::unique_ptr<Recording> recording; // while Tavik speaks
    std::vector<float> played;            // a copy of its ring
    std::optional<Clock::Instant> lastHeard;
};

} // namespace tavik
