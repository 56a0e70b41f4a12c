#pragma once

#include "agent/AgentSession.h"
#include "brains/Brain.h"
#include "platform/defaults/UserDefaults.h"
#include "platform/inference/AudioClassifier.h"
#include "platform/recognition/Transcriber.h"
#include "platform/speech/SpeechOutput.h"
#include "tests/support/SimulatedClock.h"
#include "tests/voice/FakeAudioServer.h"
#include "tools/stand-ins/services/TemporaryFolder.h"
#include "voice/VoiceLoop.h"

#include <atomic>
#include <deque>

namespace tavik {

// Speaks in simulated time, a tenth of a second a word.
class FakeSpeech : public SpeechOutput {
public:
    explicit FakeSpeech(Clock& theClock)
        : clock(theClock) {}

    void speak(const std::string& text, const std::optional<Voice>& voice) override;
    bool isSpeaking() override;
    void stopSpeaking() override;
    std::vector<Voice> voices() override {
        return {{"one", "Emma", "en-US", VoiceQuality::compact}};
    }

    std::vector<std::string> spoken();
    std::atomic<bool> isMissing = false;

private:
    Clock& clock;
    std::mutex mutex;
    std::vector<std::string> texts;
    Clock::Instant until{};
};

// Answers with the scripted replies in turn; an empty one fails. With `isSlow` it thinks until
// stopped.
class FakeBrain : public Brain {
public:
    std::string label() const override { return "fake/model"; }
    BrainReply chat(const std::vector<AgentMessage>& messages, const std::vector<ToolSpec>& tools,
                    std::stop_token stop) override;
    std::string webSearch(const std::string&, std::stop_token) override { return ""; }

    std::deque<std::string> replies;
    std::atomic<bool> isSlow = false;
    std::atomic<int> calls = 0;
};

// A voice loop among fakes on simulated time. A thread of the world plays the microphone: silence
// unless the test says something.
class VoiceWorld : public testing::Test {
protected:
    VoiceWorld();
    ~VoiceWorld() override;

    void start();
    // Starts and waits until the loop is idle.
    bool starts();
    // The hotkey and a second of speech.
    void command();
    // The sound of the wake phrase, and of any speech.
    void sayWakePhrase();
    void say(Clock::Duration duration);
    void pause(Clock::Duration duration);
    // Waits (a few simulated minutes at most) until `condition` holds. Time passes only in here.
    bool eventually(const std::function<bool()>& condition);
    // Waits until the phase is reported, after the one found last.
    bool reaches(TavikPhase::Kind kind);
    std::vector<std::string> phases();
    // What was to be remembered: "user: words", "assistant: words", and "end" behind them.
    std::vector<std::string> remembered();
    bool logged(const std::string& text);

    SimulatedClock clock{4}; // the loop, the microphone's watcher, the world and the test
    TemporaryFolder folder;
    UserDefaults defaults{folder.file("defaults.json")};
    FakeAudioServer audio;
    FakeSpeech speech{clock};
    std::shared_ptr<FakeBrain> brain = std::make_shared<FakeBrain>();
    std::deque<std::string> commands; // what is understood, one after another
    std::string wakeTranscript = "hey vessa";
    std::atomic<bool> microphoneIsDead = false;
    std::atomic<int> pauseRequests = 0;
    std::atomic<int> preparations = 0; // of the brain
    std::vector<std::string> notices;

    std::unique_ptr<VoiceLoop> loop;

private:
    void playMicrophone(std::stop_token stop);
    VoiceServices services();
    VoiceCallbacks callbacks();

    std::mutex mutex;
    std::vector<std::string> memory;  // guarded by mutex
    std::size_t seen = 0;             // guarded by mutex; how far `reaches` has read
    std::vector<TavikPhase> reported; // guarded by mutex
    std::deque<std::pair<float, Clock::Duration>> sounds; // guarded by mutex; level and rest
    std::jthread microphone;
};

} // namespace tavik
