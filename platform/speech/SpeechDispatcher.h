#pragma once

#include "platform/concurrency/BoundedMutex.h"
#include "platform/concurrency/Clock.h"
#include "platform/speech/SpeechOutput.h"
#include "platform/speech/SpeechVoices.h"
#include "platform/speech/SsipConnection.h"

#include <atomic>
#include <mutex>

namespace tavik {

// The desktop's speech-dispatcher, spoken to over its socket, since its own client library waits
// for ever on a stopped daemon.
class SpeechDispatcher : public SpeechOutput {
public:
    // The clock measures how long an utterance may last.
    explicit SpeechDispatcher(Clock& clock = systemClock());
    // Silence.
    ~SpeechDispatcher() override;

    void speak(const std::string& text, const std::optional<Voice>& voice,
               std::stop_token stop) override;
    bool isSpeaking() override;
    void stopSpeaking() override;
    std::vector<Voice> voices(std::stop_token stop) override { return installed.list(stop); }

private:
    void connect(const std::stop_token& stop);
    void start(const std::string& text, const std::optional<Voice>& voice,
               const std::stop_token& stop);
    void choose(const std::optional<Voice>& voice, const std::stop_token& stop);
    void finish(const std::string& number);
    void silence();

    Clock& clock;
    SpeechVoices installed;

    BoundedMutex mutex;
    // All guarded by mutex.
    std::unique_ptr<SsipConnection> connection;
    std::string chosenVoice; // its identifier; empty while the service's default speaks
    std::string lastEnded;   // the number of the last utterance that ended
    std::string utterance;   // the number of the one being spoken; empty when silent
    Clock::Instant utteranceDeadline;

    // A stop that came while the connection was busy; whoever is busy with it obeys.
    std::atomic<bool> stopIsDue = false;
};

} // namespace tavik
