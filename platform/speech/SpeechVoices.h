#pragma once

#include "platform/concurrency/BoundedMutex.h"
#include "platform/speech/SpeechOutput.h"

#include <memory>
#include <string>
#include <vector>

namespace tavik {

class SsipConnection;

// The voices of the speech service. It is asked over a connection of its own, since the list takes
// a quarter of a second and choosing the synthesiser to be listed would also choose the one that
// speaks. Safe from any thread.
class SpeechVoices {
public:
    SpeechVoices();
    ~SpeechVoices();

    // Asks once for each run of the service. Throws SpeechError and Cancelled.
    std::vector<Voice> list(const std::stop_token& stop);

private:
    BoundedMutex mutex;
    std::unique_ptr<SsipConnection> connection; // guarded by mutex; none before the list was read
    std::vector<Voice> voices;                  // guarded by mutex
};

// The synthesiser that a voice belongs to.
std::string moduleOf(const Voice& voice);

// The voice in a row "NAME TAB LANGUAGE TAB VARIANT" of the service's list; nothing for a mere
// variant of a voice.
std::optional<Voice> voiceOf(const std::string& row, const std::string& module);

} // namespace tavik
