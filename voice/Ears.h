#pragma once

#include "platform/recognition/Transcriber.h"
#include "voice/VoiceServices.h"
#include "voice/WakeDetector.h"

#include <memory>

namespace tavik {

// What hears: loaded once, and kept.
struct Ears {
    // Throws TranscriberError.
    explicit Ears(const VoiceServices& services)
        : commands(services.openTranscriber(Vocabulary::commands))
        , verifier(services.openTranscriber(Vocabulary::wakePhrase))
        , detector(services) {}

    std::unique_ptr<Transcriber> commands;
    std::unique_ptr<Transcriber> verifier; // of the wake phrase; for one thread at a time
    WakeDetector detector;
};

} // namespace tavik
