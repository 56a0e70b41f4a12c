#pragma once

#include <memory>
#include <optional>
#include <stdexcept>
#include <stop_token>
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

// Speaks texts aloud, one at a time. Safe from any thread. Every call gives up on a service that
// gives no sign of life for two seconds, or when it is stopped, with Cancelled within 50 ms; and it
// reconnects to one that was restarted.
class SpeechOutput {
public:
    virtual ~SpeechOutput() = default;

    // Hands over `text` and returns once the service has taken it; a text that is still being
    // spoken is stopped first. Without a voice the service's default speaks. Throws SpeechError and
    // Cancelled.
    virtual void speak(const std::string& text, const std::optional<Voice>& voice,
                       std::stop_token stop) = 0;

    // From `speak` until the end of the text, a stop, or the loss of the service. An utterance that
    // the service never reports as ended ends at a deadline that suits its length: ten seconds and
    // 0.35 for each character.
    virtual bool isSpeaking() = 0;

    // Silence at once, in mid-word, also while another thread waits in `speak`. Never throws, and
    // never waits for longer than some 30 milliseconds.
    virtual void stopSpeaking() = 0;

    // Every installed voice, without variants, as the service listed them when it was first asked
    // since its start. While it makes that list, for a quarter of a second or more, the service is
    // deaf, to a stop as well: ask before you speak. Throws SpeechError and Cancelled.
    virtual std::vector<Voice> voices(std::stop_token stop) = 0;
};

// The desktop's speech-dispatcher, found as every client finds it (SPEECHD_ADDRESS, else the user's
// runtime folder, where the daemon is started when it does not run). Connects at the first use.
std::unique_ptr<SpeechOutput> makeSpeechDispatcher();

} // namespace tavik
