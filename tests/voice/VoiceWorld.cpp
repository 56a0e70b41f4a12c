#include "tests/voice/VoiceWorld.h"

#include "app/Log.h"
#include "app/Paths.h"
#include "platform/concurrency/Cancelled.h"
#include "voice/VoiceTuning.h"

#include <algorithm>

using namespace std::chrono_literals;

namespace tavik {

namespace {

constexpr auto bufferTime = 50ms;
constexpr std::size_t bufferSamples = tuning::SAMPLE_RATE / 20;
constexpr float wakeLevel = 0.5F; // what the classifier takes for the wake phrase
constexpr float speechLevel = 0.2F;
constexpr float silenceLevel = 0.0F;

class FakeClassifier : public AudioClassifier {
public:
    std::span<const float> classify(std::span<const float> window) override {
        const bool holdsPhrase = std::find(window.begin(), window.end(), wakeLevel) != window.end();
        probabilities = holdsPhrase ? std::vector{0.4F, 0.6F} : std::vector{0.95F, 0.05F};
        return probabilities;
    }

private:
    std::vector<float> probabilities;
};

// Understands the next text of its list, or nothing when it heard nothing.
class FakeTranscriber : public Transcriber {
public:
    explicit FakeTranscriber(std::function<std::string()> source)
        : nextText(std::move(source)) {}

    std::uint32_t sampleRate() const override { return tuning::SAMPLE_RATE; }
    std::unique_ptr<Utterance> begin() override { return std::make_unique<Heard>(*this); }

private:
    struct Heard : Utterance {
        explicit Heard(FakeTranscriber& transcriber)
            : owner(transcriber) {}
        void feed(std::span<const float>) override {}
        std::string finish(std::stop_token stop) override {
            throwIfStopped(stop);
            return owner.nextText();
        }
        FakeTranscriber& owner;
    };

    std::function<std::string()> nextText;
};

} // namespace

void FakeSpeech::speak(const std::string& text, const std::optional<Voice>&) {
    if (isMissing)
        throw SpeechError("no speech service answers");
    const std::lock_guard lock(mutex);
    texts.push_back(text);
    until = clock.now() + 100ms * (1 + std::count(text.begin(), text.end(), ' '));
}

bool FakeSpeech::isSpeaking() {
    const std::lock_guard lock(mutex);
    return clock.now() < until;
}

void FakeSpeech::stopSpeaking() {
    const std::lock_guard lock(mutex);
    until = {};
}

std::vector<std::string> FakeSpeech::spoken() {
    const std::lock_guard lock(mutex);
    return texts;
}

BrainReply FakeBrain::chat(const std::vector<AgentMessage>&, const std::vector<ToolSpec>&,
                           std::stop_token stop) {
    ++calls;
    if (isSlow)
        systemClock().sleepFor(10s, stop);
    throwIfStopped(stop);
    if (replies.empty())
        throw BrainError(
            "Gemini is overloaded right now. That's on their side — try again in a moment.");
    BrainReply reply{replies.front(), {}};
    replies.pop_front();
    return reply;
}

VoiceWorld::VoiceWorld() {
    TavikLog::clearHistory();
    microphone = std::jthread([this](std::stop_token stop) { playMicrophone(std::move(stop)); });
}

VoiceWorld::~VoiceWorld() {
    loop.reset();
    microphone.request_stop();
}

void VoiceWorld::start() {
    loop.reset();
    {
        const std::lock_guard lock(mutex);
        reported.clear();
        seen = 0;
    }
    loop = std::make_unique<VoiceLoop>(services(), callbacks());
    loop->start();
}

void VoiceWorld::playMicrophone(std::stop_token stop) {
    std::vector<float> buffer(bufferSamples);
    try {
        while (true) {
            clock.sleepFor(bufferTime, stop);
            float level = silenceLevel;
            {
                const std::lock_guard lock(mutex);
                if (!sounds.empty()) {
                    level = sounds.front().first;
                    if ((sounds.front().second -= bufferTime) <= Clock::Duration::zero())
                        sounds.pop_front();
                }
            }
            std::fill(buffer.begin(), buffer.end(), level);
            if (!microphoneIsDead)
                audio.play(buffer);
        }
    } catch (const Cancelled&) {
    }
}

VoiceServices VoiceWorld::services() {
    const auto nextCommand = [this]() -> std::string {
        if (commands.empty())
            return "";
        std::string text = commands.front();
        commands.pop_front();
        return text;
    };
    return VoiceServices{
        .clock = clock,
        .defaults = defaults,
        .audio = audio,
        .speech = speech,
        .openTranscriber =
            [this, nextCommand](Vocabulary vocabulary) {
                return std::make_unique<FakeTranscriber>(
                    vocabulary == Vocabulary::commands ? std::function<std::string()>(nextCommand)
                                                       : [this] { return wakeTranscript; });
            },
        .loadWakeModel = [] { return std::make_unique<FakeClassifier>(); },
        .prepareBrain = [this] { ++preparations; },
        .makeBrain = [this](std::stop_token) { return brain; },
        .makeAgentSession =
            [](std::shared_ptr<Brain> made, std::string sessionID) {
                return std::make_unique<AgentSession>(std::move(made), std::move(sessionID));
            },
        .remember =
            [this](const std::string&, const std::string& role, const std::string& text) {
                const std::lock_guard lock(mutex);
                memory.push_back(role + ": " + text);
            },
        .onConversationEnd =
            [this](const std::string&) {
                const std::lock_guard lock(mutex);
                memory.emplace_back("end");
            },
    };
}

VoiceCallbacks VoiceWorld::callbacks() {
    VoiceCallbacks callbacks;
    callbacks.onPhase = [this](const TavikPhase& phase) {
        const std::lock_guard lock(mutex);
        reported.push_back(phase);
    };
    callbacks.onNotice = [this](const std::string& text, bool) {
        const std::lock_guard lock(mutex);
        notices.push_back(text);
    };
    callbacks.onPauseListening = [this] { ++pauseRequests; };
    return callbacks;
}

std::vector<std::string> VoiceWorld::remembered() {
    const std::lock_guard lock(mutex);
    return memory;
}

bool VoiceWorld::starts() {
    start();
    return reaches(TavikPhase::Kind::idle);
}

void VoiceWorld::command() {
    loop->triggerSession();
    say(std::chrono::seconds(1));
}

void VoiceWorld::sayWakePhrase() {
    const std::lock_guard lock(mutex);
    sounds.emplace_back(wakeLevel, 700ms);
}

void VoiceWorld::say(Clock::Duration duration) {
    const std::lock_guard lock(mutex);
    sounds.emplace_back(speechLevel, duration);
}

void VoiceWorld::pause(Clock::Duration duration) {
    const std::lock_guard lock(mutex);
    sounds.emplace_back(silenceLevel, duration);
}

bool VoiceWorld::eventually(const std::function<bool()>& condition) {
    const auto realLimit = std::chrono::steady_clock::now() + 60s;
    const auto holdsOrLate = [&] {
        return condition() || std::chrono::steady_clock::now() > realLimit;
    };
    std::mutex own;
    std::condition_variable_any never;
    std::unique_lock lock(own);
    return clock.waitUntil(lock, never, {}, clock.now() + 5min, holdsOrLate) && condition();
}

bool VoiceWorld::reaches(TavikPhase::Kind kind) {
    bool isFound = false; // once is enough: the condition is asked again afterwards
    return eventually([&] {
        if (isFound)
            return true;
        const std::lock_guard lock(mutex);
        const auto isKind = [kind](const TavikPhase& phase) { return phase.kind == kind; };
        const auto from = reported.begin() + static_cast<std::ptrdiff_t>(seen);
        const auto found = std::find_if(from, reported.end(), isKind);
        if (found == reported.end())
            return false;
        seen = static_cast<std::size_t>(found - reported.begin()) + 1;
        return isFound = true;
    });
}

std::vector<std::string> VoiceWorld::phases() {
    const std::lock_guard lock(mutex);
    std::vector<std::string> described;
    for (const TavikPhase& phase : reported)
        described.push_back(describe(phase));
    return described;
}

bool VoiceWorld::logged(const std::string& text) {
    TavikLog::flush();
    return readFile(logPath()).find("] " + text) != std::string::npos;
}

} // namespace tavik
