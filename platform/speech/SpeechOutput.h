#pragma once

#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace tavik {

enum class VoiceQuality { compact, enhanced, premium };

// A voice of an installed synthesiser.
struct Voice {
    std::string identifier; // stable, such as "espeak-ng/English (America)"
    std::string name;
    std::string language; // BCP 47, such as "en-US"
    VoiceQuality quality = VoiceQuality::compact;
};

// The speech service cannot be reached or refused. `what()` is a clear phrase.
class SpeechError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Speaks texts aloud, one at a time. Safe from any thread. Every call is bounded in time (two
// seconds) and reconnects when the service was restarted.
class SpeechOutput {
public:
    virtual ~SpeechOutput() = default;

    // Hands over `text` and returns once the service has taken it; a text that is still being
    // spoken is stopped first. Without a voice the service's default speaks. Throws SpeechError.
    virtual void speak(const std::string& text, const std::optional<Voice>& voice) = 0;

    // From `speak` until the end of the text, a stop, or the loss of the service. An utterance that
    // the service never reports as ended ends at a deadline that suits its length.
    virtual bool isSpeaking() = 0;

    // Silence at once, in mid-word. Never throws.
    virtual void stopSpeaking() = 0;

    // Every installed voice, without variants. Throws SpeechError.
    virtual std::vector<Voice> voices() = 0;
};

// The desktop's speech-dispatcher, found as every client finds it (SPEECHD_ADDRESS, else the user's
// runtime folder, where the daemon is started when it does not run). Connects at the first use.
std::unique_ptr<SpeechOutput> makeSpeechDispatcher();

} // namespace tavik
