#pragma once

#include "platform/concurrency/Clock.h"
#include "platform/defaults/UserDefaults.h"
#include "platform/speech/SpeechOutput.h"

#include <condition_variable>
#include <memory>
#include <mutex>
#include <stop_token>
#include <string>

namespace tavik {

// Speaks what external agents have to say, one text after another, in the user's voice and apart
// from the conversation's own speech. Safe from any thread.
class Announcer {
public:
    // `defaults` and `clock` outlive it.
    Announcer(std::unique_ptr<SpeechOutput> speech, UserDefaults& defaults, Clock& clock);

    // The desktop's speech, made at the first use.
    static Announcer& shared();

    // Waits for its turn and until the text is spoken. It falls silent when agents are shut out.
    // Throws SpeechError, and Cancelled, silenced.
    void speak(const std::string& text, std::stop_token stop);

private:
    bool isEnabled();
    void waitUntilSpoken(std::stop_token stop);

    const std::unique_ptr<SpeechOutput> speech;
    UserDefaults& defaults;
    Clock& clock;
    std::mutex mutex;
    std::condition_variable_any isFree;
    bool isSpeaking = false; // guarded by mutex
};

} // namespace tavik
