#pragma once

#include "platform/speech/SpeechOutput.h"
#include "platform/speech/SsipConnection.h"

#include <atomic>
#include <chrono>
#include <mutex>

namespace tavik {

// The desktop's speech-dispatcher, spoken to over its socket, since its own client library waits
// for ever on a stopped daemon.
class SpeechDispatcher : public SpeechOutput {
public:
    void speak(const std::string& text, const std::optional<Voice>& voice) override;
    bool isSpeaking() override;
    void stopSpeaking() override;
    std::vector<Voice> voices() override;

private:
    SsipConnection& connected();
    void connect();
    void choose(const Voice& voice);
    std::vector<Voice> readVoices();
    void finish(const std::string& utterance);
    void silence();

    std::timed_mutex mutex;
    // All guarded by mutex.
    std::unique_ptr<SsipConnection> connection;
    std::vector<Voice> installed; // as the service listed them; it lists them anew when it restarts
    std::string chosenVoice;
    std::string lastEnded; // the number of the last utterance that ended
    std::string utterance; // the number of the one being spoken; empty when silent
    std::chrono::steady_clock::time_point utteranceDeadline;

    // A stop that came while the connection was busy; whoever is busy with it obeys.
    std::atomic<bool> stopIsDue = false;
};

} // namespace tavik
