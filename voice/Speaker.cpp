#include "voice/Speaker.h"

#include "app/Log.h"
#include "platform/concurrency/Clock.h"
#include "platform/defaults/UserDefaults.h"

#include <algorithm>

namespace tavik {

namespace {

template<typename Condition>
std::optional<Voice> firstVoice(const std::vector<Voice>& voices, Condition condition) {
    const auto found = std::find_if(voices.begin(), voices.end(), condition);
    return found == voices.end() ? std::nullopt : std::optional(*found);
}

bool isEnglish(const Voice& voice) {
    return voice.language.starts_with("en");
}

bool isAmerican(const Voice& voice) {
    return voice.language == "en-US";
}

std::optional<Voice> bestEnglish(const std::vector<Voice>& installed) {
    for (const VoiceQuality quality : {VoiceQuality::premium, VoiceQuality::enhanced}) {
        auto voice = firstVoice(installed, [quality](const Voice& candidate) {
            return isEnglish(candidate) && candidate.quality == quality;
        });
        if (voice)
            return voice;
    }
    auto samantha = firstVoice(installed, [](const Voice& candidate) {
        return isEnglish(candidate) && candidate.name == "Samantha";
    });
    return samantha ? samantha : firstVoice(installed, isAmerican);
}

// A text is being spoken for as long as it lives; at its end there is silence, whatever ends it.
class Speaking {
public:
    Speaking(SpeechOutput& output, SharedVoiceState& sharedState)
        : speech(output)
        , state(sharedState) {
        mark(true);
    }
    ~Speaking() {
        speech.stopSpeaking();
        mark(false);
    }
    Speaking(const Speaking&) = delete;
    Speaking& operator=(const Speaking&) = delete;

private:
    void mark(bool isSpeaking) {
        state.with([isSpeaking](VoiceState& shared) { shared.isSpeaking = isSpeaking; });
    }

    SpeechOutput& speech;
    SharedVoiceState& state;
};

} // namespace

std::optional<Voice> chooseVoice(const std::string& voiceId, const std::vector<Voice>& installed) {
    if (!voiceId.empty()) {
        auto chosen =
            firstVoice(installed, [&](const Voice& voice) { return voice.identifier == voiceId; });
        if (chosen)
            return chosen;
    }
    return bestEnglish(installed);
}

Speaker::Speaker(const VoiceServices& voiceServices, SharedVoiceState& sharedState)
    : services(voiceServices)
    , state(sharedState) {}

std::optional<Voice> Speaker::current(std::stop_token stop) {
    try {
        return chooseVoice(services.defaults.string("voiceId").value_or(""),
                           services.speech.voices(std::move(stop)));
    } catch (const SpeechError& error) {
        log(std::string("[voice] ⚠ no voices: ") + error.what());
        return std::nullopt;
    }
}

void Speaker::speakAndWait(const std::string& text, std::stop_token stop) {
    try {
        const Speaking speaking(services.speech, state);
        services.speech.speak(text, current(stop), stop);
        services.clock.sleepFor(tuning::SPEECH_START, stop);
        while (services.speech.isSpeaking())
            services.clock.sleepFor(tuning::SPEECH_POLL, stop);
    } catch (const SpeechError& error) {
        log(std::string("[voice] ⚠ couldn't speak: ") + error.what());
    }
}

} // namespace tavik
