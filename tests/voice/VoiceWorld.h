#pragma once

#include "agent/AgentSession.h"
#include "brains/Brain.h"
#include "platform/defaults/UserDefaults.h"
#include "platform/speech/SpeechOutput.h"
#include "tests/voice/FakeAudioServer.h"
#include "tests/voice/FakeListeners.h"
#include "tests/voice/WorldClock.h"
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

    void speak(const std::string& text, const std::optional<Voice>& voice,
               std::stop_token) override;
    bool isSpeaking() override;
    void stopSpeaking() override;
    std::vector<Voice> voices(std::stop_token) override {
        return {{"one", "Emma", "en-US", VoiceQuality::compact}};
    }

    std::vector<std::string> spoken();
    std::atomic<bool> isMissing = false;
    std::function<void(const std::string& text)> onSpeak = [](const std::string&) {};

private:
    Clock& clock;
    std::mutex mutex;
    std::vector<std::string> texts;
    Clock::Instant until{};
};

// Answers with the scripted replies in turn, each after `thinkingTime`; with none left it fails.
class FakeBrain : public Brain {
public:
    explicit FakeBrain(Clock& theClock)
        : clock(theClock) {}

    std::string label() const override { return "fake/model"; }
    BrainReply chat(const std::vector<AgentMessage>& messages, const std::vector<ToolSpec>& tools,
                    std::stop_token stop) override;
    std::string webSearch(const std::string&, std::stop_token) override { return ""; }

    void will(const std::string& text, const std::string& tool = "");

    std::deque<BrainReply> replies;
    Clock::Duration thinkingTime{};
    bool isBroken = false; // throws what is no BrainError
    std::atomic<int> calls = 0;
    std::vector<AgentMessage> lastTranscript; // of the last call
    std::function<void(const std::vector<AgentMessage>&)> onChat =
        [](const std::vector<AgentMessage>&) {};

private:
    Clock& clock;
};

// A voice loop among fakes on simulated time. The microphone hears silence unless the test says
// something.
class VoiceWorld {
public:
    VoiceWorld();
    virtual ~VoiceWorld();
    VoiceWorld(const VoiceWorld&) = delete;
    VoiceWorld& operator=(const VoiceWorld&) = delete;

    void start();
    // The same loop, after its end.
    void restart();
    // Starts and waits until the loop is idle.
    bool starts();
    // The hotkey and a second of speech.
    void command();
    // What the microphone hears next, one thing after another: the sound of the wake phrase, of any
    // speech, or nothing.
    void sayWakePhrase();
    void say(Clock::Duration duration);
    void pause(Clock::Duration duration);
    // The same phrase from the loudspeaker.
    void loudspeakerSaysWakePhrase();
    // Lets time pass.
    void pass(Clock::Duration duration) { clock.sleepFor(duration, {}); }
    // Lets it pass until `condition` holds, which is looked at every hundredth of a second; for a
    // few minutes at most.
    bool eventually(const std::function<bool()>& condition);
    // The same until the phase is reported, after the one found last.
    bool reaches(TavikPhase::Kind kind);
    std::vector<std::string> phases();
    // What was to be remembered: "user: words", "assistant: words", and "end" behind them.
    std::vector<std::string> remembered();
    bool logged(const std::string& text);
    // The log so far, without times and without the lines about the microphone, among it lines
    // for what the loop told, played, spoke and remembered: "# phase idle", "# sound tavik-Pop
    // 0.35", "# speaks ...", "# remembers user: ...", "# pause".
    std::vector<std::string> story();

    // All but the test's own thread: the loop, the watch on the route, and that for an
    // interruption.
    static constexpr std::size_t threadsInConversation = 3;

    WorldClock clock{std::chrono::milliseconds(50), [this] { playSounds(); }};
    TemporaryFolder folder;
    UserDefaults defaults{folder.file("defaults.json")};
    FakeAudioServer audio;
    FakeSpeech speech{clock};
    std::shared_ptr<FakeBrain> brain = std::make_shared<FakeBrain>(clock);
    FakeListeners listeners{clock};
    bool tellsStory = true;
    bool hasToolbox = true;
    // While no conversation goes on: what was wrong about the memory's records; empty when nothing.
    std::vector<std::string> complaints();
    TavikPhase lastPhase();
    // Whether the microphone hears nothing any more.
    bool isQuiet();
    std::function<void(const TavikPhase&)> onPhase = [](const TavikPhase&) {};
    std::atomic<bool> microphoneIsDead = false;
    std::atomic<int> pauseRequests = 0;
    std::atomic<int> preparations = 0; // of the brain
    std::vector<std::string> notices;

    std::unique_ptr<VoiceLoop> loop;

private:
    using Sounds = std::deque<std::pair<float, Clock::Duration>>; // level and rest

    AgentSurroundings surroundings();
    void playSounds();
    void append(Sounds& sounds, float level, Clock::Duration duration);
    void note(const std::string& event);
    void notePhase(const TavikPhase& phase);
    void remember(const std::string& sessionID, const std::string& role, const std::string& text);
    void endMemory(const std::string& sessionID);
    VoiceServices services();
    VoiceCallbacks callbacks();

    std::mutex mutex;
    std::vector<std::string> memory;  // guarded by mutex
    std::string openSession;          // guarded by mutex; remembered in part
    std::vector<std::string> wrong;   // guarded by mutex
    std::size_t seen = 0;             // guarded by mutex; how far `reaches` has read
    std::vector<TavikPhase> reported; // guarded by mutex
    Sounds atMicrophone;              // guarded by mutex
    Sounds atLoudspeaker;             // guarded by mutex
};

class VoiceLoopTest : public testing::Test, public VoiceWorld {};

} // namespace tavik
