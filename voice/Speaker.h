#pragma once

#include "platform/speech/SpeechOutput.h"
#include "voice/VoiceServices.h"
#include "voice/VoiceState.h"

#include <optional>
#include <stop_token>
#include <string>
#include <vector>

namespace tavik {

// The voice to speak with among the installed ones: the one with the identifier `voiceId`; else the
// first premium, the first enhanced, or the standard American English one. None means that the
// service decides.
std::optional<Voice> chooseVoice(const std::string& voiceId, const std::vector<Voice>& installed);

// Speaks answers in the user's voice.
class Speaker {
public:
    Speaker(const VoiceServices& services, SharedVoiceState& state);

    // The voice of the moment, by the setting "voiceId"; none when the service has none or is
    // missing.
    std::optional<Voice> current(std::stop_token stop);

    // Blocks until `text` is spoken. A speech service that fails is logged: the text is lost, the
    // conversation goes on. Throws Cancelled as soon as `stop` is requested, silent.
    void speakAndWait(const std::string& text, std::stop_token stop);

private:
    const VoiceServices& services;
    SharedVoiceState& state;
};

} // namespace tavik
