#pragma once

#include "platform/concurrency/Clock.h"
#include "voice/VoiceState.h"

#include <functional>
#include <stop_token>
#include <string>

namespace tavik {

class Transcriber;

// Hears one spoken command after another.
class CommandCapture {
public:
    CommandCapture(Clock& clock, SharedVoiceState& state, Transcriber& transcriber);

    // Switches the microphone to the transcriber and blocks until one utterance is over: nobody
    // began within `onsetTimeout`, silence followed speech, the longest command is reached, the
    // session was cancelled, or `isAbandoned()`. Returns the trimmed transcript, empty when nothing
    // was said or understood, or when it was given up. The microphone is back in wake mode
    // afterwards. Throws Cancelled.
    std::string transcribeCommand(Clock::Duration onsetTimeout,
                                  const std::function<bool()>& isAbandoned, std::stop_token stop);

private:
    enum class End { notYet, nothingHeard, complete, givenUp };

    End waitForEnd(Clock::Duration onsetTimeout, const std::function<bool()>& isAbandoned,
                   std::stop_token stop);
    End judge(Clock::Instant started, Clock::Duration onsetTimeout);

    Clock& clock;
    SharedVoiceState& state;
    Transcriber& transcriber;
};

} // namespace tavik
