#pragma once

#include "app/MemoryKeeper.h"
#include "platform/audio/AudioServer.h"
#include "platform/concurrency/BackgroundJobs.h"
#include "platform/speech/SpeechOutput.h"
#include "voice/VoiceServices.h"

#include <functional>
#include <memory>
#include <string>

namespace tavik {

// The real services that the voice loop and the windows work with. They connect when they are first
// used.
class AppServices {
public:
    // `notify` gets a sentence for the user, on any thread.
    explicit AppServices(const std::function<void(const std::string&)>& notify);

    VoiceServices forVoice();
    AudioServer& audio() { return *audioServer; }

private:
    BackgroundJobs background{"ai.tavik.brain"};
    MemoryKeeper memory;
    std::unique_ptr<AudioServer> audioServer;
    std::unique_ptr<SpeechOutput> speech;
};

} // namespace tavik
