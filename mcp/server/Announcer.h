#pragma once

#include "platform/concurrency/Clock.h"
#include "platform/defaults/UserDefaults.h"
#include "platform/speech/SpeechOutput.h"
#include "voice/Floor.h"

#include <memory>
#include <stop_token>
#include <string>

namespace tavik {

// Speaks what external agents have to say, one text after another, in the user's voice, between the
// conversations. Safe from any thread.
class Announcer {
public:
    // All but `speech` outlive it.
    Announcer(std::unique_ptr<SpeechOutput> speech, UserDefaults& defaults, Clock& clock,
              Floor& floor);

    // With the desktop's speech.
    static Announcer& shared();

    // Waits for its turn and until the text is spoken; it begins anew after a conversation that
    // came in between, and falls silent when agents are shut out. Throws SpeechError, and
    // Cancelled, silenced.
    void speak(const std::string& text, std::stop_token stop);

private:
    bool isEnabled();
    void speakNow(const std::string& text, std::stop_token stop);

    const std::unique_ptr<SpeechOutput> speech;
    UserDefaults& defaults;
    Clock& clock;
    Floor& floor;
};

} // namespace tavik
