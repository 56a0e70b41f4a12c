#pragma once

#include "platform/speech/SpeechOutput.h"
#include "tests/support/services/ChildProcess.h"
#include "tests/support/services/ServiceFolder.h"

#include <memory>
#include <string>

namespace tavik::demo {

// A speech-dispatcher of our own that speaks with flite: the recogniser that listens to the answers
// understands that voice far better than espeak-ng's.
class SpeechService {
public:
    // Throws std::runtime_error with a sentence when it does not come up, or lacks flite.
    explicit SpeechService(const std::string& pulseServer);

    // The voice that it speaks with.
    const std::string& voice() const { return voiceIdentifier; }

private:
    void configure(const std::string& pulseServer) const;
    void awaitVoice();

    ServiceFolder folder;
    std::unique_ptr<ChildProcess> daemon;
    std::string voiceIdentifier;
};

} // namespace tavik::demo
