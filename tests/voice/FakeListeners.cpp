#include "tests/voice/FakeListeners.h"

#include "platform/concurrency/Cancelled.h"
#include "voice/VoiceTuning.h"

#include <algorithm>
#include <thread>

using namespace std::chrono_literals;

namespace tavik {

namespace {

constexpr std::size_t phraseSamples = tuning::SAMPLE_RATE / 2; // nearly all of it

class FakeUtterance : public Utterance {
public:
    FakeUtterance(FakeListeners& fakes, Vocabulary kind)
        : listeners(fakes)
        , vocabulary(kind) {
        ++listeners.utterances;
    }
    ~FakeUtterance() override { --listeners.utterances; }

    void feed(std::span<const float> samples) override { fed += samples.size(); }

    std::string finish(std::stop_token stop) override {
        if (vocabulary == Vocabulary::wakePhrase) {
            listeners.clock.join();
            ++listeners.verified;
            listeners.clock.sleepFor(listeners.verificationTime, stop);
        }
        throwIfStopped(stop);
        if (listeners.recogniserFails)
            throw TranscriberError("the recogniser broke");
        if (vocabulary == Vocabulary::wakePhrase)
            return listeners.wakeTranscript;
        listeners.lastCommandSeconds = static_cast<double>(fed) / tuning::SAMPLE_RATE;
        return listeners.nextCommand();
    }

private:
    FakeListeners& listeners;
    const Vocabulary vocabulary;
    std::size_t fed = 0;
};

class FakeTranscriber : public Transcriber {
public:
    FakeTranscriber(FakeListeners& fakes, Vocabulary kind)
        : listeners(fakes)
        , vocabulary(kind) {}

    std::uint32_t sampleRate() const override { return tuning::SAMPLE_RATE; }
    std::unique_ptr<Utterance> begin(std::stop_token) override {
        return std::make_unique<FakeUtterance>(listeners, vocabulary);
    }

private:
    FakeListeners& listeners;
    const Vocabulary vocabulary;
};

class FakeNetwork : public AudioNetwork {
public:
    explicit FakeNetwork(FakeListeners& fakes)
        : listeners(fakes) {}

    std::span<const float> run(std::span<const float> window) override {
        ++listeners.modelLooks;
        const auto heard = std::count(window.begin(), window.end(), wakeLevel);
        const bool holdsPhrase = heard >= static_cast<std::ptrdiff_t>(phraseSamples);
        listeners.found += holdsPhrase ? 1 : 0;
        const float probability = holdsPhrase ? listeners.probability : 0.05F;
        probabilities = {1 - probability, probability};
        return probabilities;
    }

private:
    FakeListeners& listeners;
    std::vector<float> probabilities;
};

} // namespace

std::unique_ptr<Transcriber> FakeListeners::open(Vocabulary vocabulary) {
    if (recogniserIsMissing)
        throw TranscriberError("its files are missing");
    return std::make_unique<FakeTranscriber>(*this, vocabulary);
}

std::unique_ptr<AudioNetwork> FakeListeners::loadModel() {
    if (modelIsMissing)
        throw ModelError("no such file");
    return std::make_unique<FakeNetwork>(*this);
}

std::string FakeListeners::nextCommand() {
    if (commands.empty())
        return "";
    std::string text = commands.front();
    commands.pop_front();
    return text;
}

void FakeListeners::awaitVerification() {
    const auto giveUp = std::chrono::steady_clock::now() + 300ms;
    while (verified < found && std::chrono::steady_clock::now() < giveUp)
        std::this_thread::yield();
    verified = found.load();
}

} // namespace tavik
