#pragma once

#include "platform/inference/AudioNetwork.h"
#include "platform/recognition/Transcriber.h"
#include "tests/voice/WorldClock.h"

#include <atomic>
#include <deque>
#include <memory>
#include <mutex>
#include <string>

namespace tavik {

// The levels of sound that the fakes know.
constexpr float wakeLevel = 0.5F; // what the network takes for the wake phrase
constexpr float speechLevel = 0.2F;
constexpr float silenceLevel = 0.0F;

// What stands in for the wake model and for the recogniser: it understands the scripted texts, one
// command after another, and takes its time to verify the wake phrase.
class FakeListeners {
public:
    explicit FakeListeners(WorldClock& worldClock)
        : clock(worldClock) {}

    std::unique_ptr<Transcriber> open(Vocabulary vocabulary);
    std::unique_ptr<AudioNetwork> loadModel();

    // The next command; empty when there is none left.
    std::string nextCommand();
    // Waits, in real time, until the verification of a phrase that was just found has begun.
    void awaitVerification();

    WorldClock& clock;
    std::deque<std::string> commands;
    std::string wakeTranscript = "hey vessa";
    Clock::Duration verificationTime = std::chrono::milliseconds(300);
    float probability = 0.6F; // of the wake phrase, where it is
    bool modelIsMissing = false;
    bool recogniserIsMissing = false;
    bool recogniserFails = false;
    std::atomic<int> modelLooks = 0;
    std::atomic<double> lastCommandSeconds = 0; // how much was fed for it
    std::atomic<int> utterances = 0;            // that are alive
    std::atomic<int> found = 0;                 // how often the phrase was
    std::atomic<int> verified = 0;              // how often that was looked into
};

} // namespace tavik
