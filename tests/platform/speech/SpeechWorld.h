#pragma once

#include "platform/speech/SpeechOutput.h"
#include "tests/platform/audio/HeardSound.h"
#include "tools/stand-ins/services/PrivatePulseAudio.h"
#include "tools/stand-ins/services/PrivateSpeechDispatcher.h"

#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <optional>
#include <string>

namespace tavik {

// A speech service, a sound server for it to speak into, and an ear at the speaker.
class SpeechWorld {
public:
    SpeechWorld();
    // Ends what is still being spoken.
    ~SpeechWorld();

    PrivatePulseAudio pulse;
    PrivateSpeechDispatcher service{pulse.server(), "espeak-ng", 100};
    std::unique_ptr<SpeechOutput> speech = makeSpeechDispatcher();
    std::unique_ptr<AudioServer> audio;
    std::unique_ptr<HeardSound> ear;

    // False when the speech goes on for longer than `patience`. The service forgets no end: by
    // default this is less than the deadline of any utterance.
    bool awaitEnd(std::chrono::milliseconds patience = std::chrono::seconds(8));
    // How long there was a sound since `begin`, in seconds, and when the last one was.
    LoudTime heardSince(double begin);
    // Blocks until there is a sound after `begin`. False when there is none for far too long.
    bool awaitSound(double begin);
    // Speaks to the end and returns for how long there was a sound.
    double secondsSpoken(const std::string& text, const std::optional<Voice>& voice = {});
};

// How long `call` takes.
std::chrono::milliseconds timeOf(const std::function<void()>& call);

// How long `call` takes to fail with a SpeechError; the test fails when it does not.
std::chrono::milliseconds timeToFail(const std::function<void()>& call);

} // namespace tavik
