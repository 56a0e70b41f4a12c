#pragma once

#include "voice/LoudspeakerEar.h"
#include "voice/VoiceState.h"

#include <stop_token>
#include <thread>
#include <vector>

namespace tavik {

struct Ears;
struct VoiceServices;

// Listens for the wake phrase, on a thread of its own, for as long as it lives: while an answer is
// being thought out or spoken the phrase interrupts it, and the user can say something new.
class InterruptWatcher {
public:
    InterruptWatcher(const VoiceServices& services, SharedVoiceState& state, Ears& ears);
    ~InterruptWatcher();
    InterruptWatcher(const InterruptWatcher&) = delete;
    InterruptWatcher& operator=(const InterruptWatcher&) = delete;

private:
    void watch(std::stop_token stop);
    bool hearsWakePhrase(std::stop_token stop);
    bool isOwnVoice();
    void bargeIn();

    const VoiceServices& services;
    SharedVoiceState& state;
    Ears& ears;
    LoudspeakerEar loudspeaker;
    bool hasToldOwnVoice = false; // in the log, once a phrase
    // Copies of the rings, kept so that a look at them allocates nothing.
    std::vector<float> wakeWindow;
    std::vector<float> verifyWindow;

    std::jthread watcher; // last: it uses all of the above
};

} // namespace tavik
