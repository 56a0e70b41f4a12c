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
    // began within `onsetTimeout`, silence followed speech, the longest command is reached, or
    // `isAbandoned()`, which is asked from time to time. Returns the trimmed transcript, empty when
    // nothing was said or understood, or when it was abandoned. The microphone is back in wake mode
    // afterwards, with the rings empty. Throws Cancelled.
    std::string transcribeCommand(Clock::Duration onsetTimeout,
                                  const std::function<bool()>& isAbandoned, std::stop_token stop);
    std::string transcribeCommand(Clock::Duration onsetTimeout, std::stop_token stop) {
        return transcribeCommand(
            onsetTimeout, [] { return false; }, std::move(stop));
    }

private:
    enum class End { notYet, nothingHeard, complete };

    End waitForEnd(const std::function<bool()>& isAbandoned, std::stop_token stop);
    End judge(Clock::Instant started);

    Clock& clock;
    SharedVoiceState& state;
    Transcriber& transcriber;
};

} // namespace tavik
