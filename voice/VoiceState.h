#pragma once

#include "platform/concurrency/Clock.h"
#include "platform/concurrency/Locked.h"
#include "voice/SampleRing.h"
#include "voice/VoiceTuning.h"

#include <optional>
#include <stop_token>

namespace tavik {

class Utterance;

// What the audio thread, the voice loop and the user interface share.
struct VoiceState {
    enum class Mode {
        wake,   // audio goes to the rings
        command // audio goes to the transcriber
    };

    Mode mode = Mode::wake;
    SampleRing ring{tuning::WAKE_WINDOW};
    SampleRing sttRing{tuning::STT_VERIFY_WINDOW};
    Utterance* commandCont = nullptr; // the capture in progress; owned by CommandCapture
    Clock::Instant onsetDeadline{};   // when the command must have begun
    Clock::Instant lastVoiceTime{};   // of the last buffer that counted as voice
    bool heardSpeech = false;         // any voice yet in this command
    bool isCommandOver = false;       // what comes now belongs to it no more
    double peakLevel = 0;             // the loudest buffer of this command

    std::optional<Clock::Instant> deafSince; // while the microphone is being replaced
    bool everReceivedTap = false; // the microphone delivered a buffer since it was opened
    int micRetryCount = 0;        // rebuilds because it delivered none

    bool hotkeyFired = false;
    bool sessionActive = false; // a conversation is going on
    // What others end a part of the loop's work with, while it goes on.
    std::stop_source sessionCancelled{std::nostopstate};   // the conversation: a click on the orb
    std::stop_source interruptRequested{std::nostopstate}; // thinking and speaking: a barge-in
    bool isSpeaking = false;                               // an answer is being spoken aloud
    Clock::Instant wakeCooldownUntil{};
};

using SharedVoiceState = Locked<VoiceState>;

} // namespace tavik
