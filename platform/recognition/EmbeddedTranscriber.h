#pragma once

#include "platform/recognition/DecodingSession.h"
#include "platform/recognition/SphinxDecoder.h"
#include "platform/recognition/Transcriber.h"

#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <thread>

namespace tavik {

struct SpeechModels;

// One decoder and the thread that runs it. An utterance that was abandoned ends in the background:
// a new one can begin, and take samples, before the thread has got rid of the old one. An utterance
// may outlive its transcriber; it then throws TranscriberError.
class EmbeddedTranscriber : public Transcriber {
public:
    explicit EmbeddedTranscriber(const SpeechModels& models);
    ~EmbeddedTranscriber() override;

    std::uint32_t sampleRate() const override;
    std::unique_ptr<Utterance> begin(std::stop_token stop) override;

private:
    class SpokenUtterance;
    // Held by the one utterance that there may be at a time.
    struct Place {
        std::mutex mutex;
        std::condition_variable_any freed;
        bool taken = false; // guarded by mutex
    };

    void run(std::stop_token stop);
    std::shared_ptr<DecodingSession> nextSession(std::stop_token stop);
    void decode(DecodingSession& session, std::stop_token stop);
    void decodeAll(DecodingSession& session, std::stop_token stop);

    SphinxDecoder decoder; // the worker's
    const std::shared_ptr<Place> place = std::make_shared<Place>();
    std::mutex mutex;
    std::condition_variable_any begun;
    std::deque<std::shared_ptr<DecodingSession>> sessions; // guarded by mutex
    // Last: it joins before what it uses is destroyed.
    std::jthread worker{[this](std::stop_token stop) { run(stop); }};
};

} // namespace tavik
