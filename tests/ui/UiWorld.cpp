#include "tests/ui/UiWorld.h"

#include "agent/AgentSession.h"
#include "brains/Brain.h"
#include "memory/MemoryDatabase.h"
#include "memory/Summarizer.h"
#include "platform/concurrency/MainQueue.h"
#include "tests/voice/DeafNetwork.h"
#include "voice/VoiceTuning.h"

#include <QCoreApplication>
#include <fmt/format.h>

namespace tavik {

namespace {

using namespace std::chrono_literals;
using std::chrono::steady_clock;

class SpokenCommand : public Utterance {
public:
    void feed(std::span<const float>) override {}
    std::string finish(std::stop_token) override { return "what time is it"; }
};

class CommandTranscriber : public Transcriber {
public:
    std::uint32_t sampleRate() const override { return tuning::SAMPLE_RATE; }
    std::unique_ptr<Utterance> begin(std::stop_token) override {
        return std::make_unique<SpokenCommand>();
    }
};

class PatientBrain : public Brain {
public:
    explicit PatientBrain(std::atomic<bool>& answers)
        : mayAnswer(answers) {}

    std::string label() const override { return "test/model"; }
    BrainReply chat(const std::vector<AgentMessage>&, const std::vector<ToolSpec>&,
                    std::stop_token stop) override {
        while (!mayAnswer)
            systemClock().sleepFor(5ms, stop);
        return {.text = "It is noon.", .toolCalls = {}};
    }
    std::string webSearch(const std::string&, std::stop_token) override { return ""; }

private:
    std::atomic<bool>& mayAnswer;
};

class NoSummarizer : public Summarizer {
public:
    std::string availability(std::stop_token) override { return "none"; }
    std::string summarize(const std::vector<ConversationTurn>&, std::stop_token) override {
        throw SummaryError("none");
    }
};

void playSound(FakeAudioServer& audio, const std::atomic<float>& amplitude, std::stop_token stop) {
    constexpr auto piece = 20ms;
    std::vector<float> samples(static_cast<std::size_t>(tuning::SAMPLE_RATE) * piece / 1s);
    while (!stop.stop_requested()) {
        std::fill(samples.begin(), samples.end(), amplitude.load());
        audio.play(samples);
        std::this_thread::sleep_for(piece);
    }
}

} // namespace

void TimedSpeech::speak(const std::string& text, const std::optional<Voice>&, std::stop_token) {
    if (isMissing)
        throw SpeechError("no speech service");
    const std::lock_guard lock(mutex);
    texts.push_back(text);
    until = steady_clock::now() + std::chrono::milliseconds(utteranceTime);
}

bool TimedSpeech::isSpeaking() {
    const std::lock_guard lock(mutex);
    return steady_clock::now() < until;
}

void TimedSpeech::stopSpeaking() {
    const std::lock_guard lock(mutex);
    until = {};
}

std::vector<Voice> TimedSpeech::voices(std::stop_token) {
    if (isMissing)
        throw SpeechError("no speech service");
    return installed;
}

std::vector<std::string> TimedSpeech::spoken() {
    const std::lock_guard lock(mutex);
    return texts;
}

UiWorld::UiWorld()
    : permissions(probes())
    , memory(std::make_unique<MemoryStore>(
          MemoryStore::Surroundings{.path = folder.file("Memory.store"),
                                    .defaults = defaults,
                                    .summarizer = std::make_shared<NoSummarizer>()}))
    , state(std::make_unique<AppState>(voiceServices(), std::make_unique<FakeShortcuts>(shortcuts)))
    , microphone([this](std::stop_token stop) { playSound(audio, sound, std::move(stop)); }) {
    previews.installed = {{"premium", "Ava", "en-US", VoiceQuality::premium},
                          {"enhanced", "Samantha", "en-US", VoiceQuality::enhanced},
                          {"compact", "English (Great Britain)", "en-GB", VoiceQuality::compact},
                          {"german", "Deutsch", "de-DE", VoiceQuality::compact}};
    state->boot();
}

UiWorld::~UiWorld() {
    mayAnswer = true;
    state.reset();
    MainQueue::shared().drain(); // what nobody waits for any more may hold a recording
}

VoiceServices UiWorld::voiceServices() {
    return {.clock = systemClock(),
            .defaults = defaults,
            .audio = audio,
            .speech = speech,
            .openTranscriber = [](Vocabulary) { return std::make_unique<CommandTranscriber>(); },
            .loadWakeModel = [] { return std::make_unique<DeafNetwork>(); },
            .prepareBrain = [] {},
            .makeBrain = [this](std::stop_token) -> std::shared_ptr<Brain> {
                return hasBrain ? std::make_shared<PatientBrain>(mayAnswer) : nullptr;
            },
            .makeAgentSession =
                [](std::shared_ptr<Brain> brain, std::string sessionID) {
                    return std::make_unique<AgentSession>(std::move(brain), std::move(sessionID));
                },
            .remember = [](const std::string&, const std::string&, const std::string&) {},
            .onConversationEnd = [](const std::string&) {}};
}

Permissions::Probes UiWorld::probes() {
    const auto has = [this](Permission permission) {
        return [this, permission](const auto&...) {
            const auto found = permissionStates.find(permission);
            return found == permissionStates.end() || found->second == PermissionState::granted;
        };
    };
    return {.microphoneStore =
                [this](const auto&...) {
                    const auto found = permissionStates.find(Permission::microphone);
                    return found == permissionStates.end() ? PermissionState::notDetermined
                                                           : found->second.load();
                },
            .hasInput = has(Permission::microphone),
            .hasSpeechModels = has(Permission::speech),
            .isAccessibilityOn = has(Permission::accessibility),
            .isScreenOpen = has(Permission::screenRecording),
            .isAutomationPossible = has(Permission::automation),
            .switchAccessibilityOn =
                [this](const auto&...) {
                    permissionStates[Permission::accessibility] = PermissionState::granted;
                },
            .openPane = [](std::string_view) { return true; },
            .startAnew = [] { return false; }};
}

UiServices UiWorld::services() {
    return {.state = *state,
            .audio = audio,
            .previews = previews,
            .clock = systemClock(),
            .keychain = keychain,
            .permissions = permissions,
            .memory = [this]() -> MemoryStore& { return *memory; },
            .checkConnection =
                [this](const std::string&, const std::string& key, const std::string&,
                       std::stop_token) {
                    if (const std::string problem = verdict(key); !problem.empty())
                        throw BrainError(problem);
                }};
}

bool UiWorld::until(const std::function<bool()>& condition) {
    const auto deadline = steady_clock::now() + 10s;
    while (!condition()) {
        if (steady_clock::now() > deadline)
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
        std::this_thread::sleep_for(1ms);
    }
    return true;
}

bool UiWorld::reaches(TavikPhase::Kind phase) {
    return until([&] { return state->phase().kind == phase; });
}

bool UiWorld::converse(TavikPhase::Kind upTo) {
    using Kind = TavikPhase::Kind;
    mayAnswer = upTo == Kind::speaking;
    state->startListening();
    if (!reaches(Kind::idle))
        return false;
    state->triggerSession();
    if (!reaches(Kind::listening))
        return false;
    sound = 0.2F;
    const auto spoken = steady_clock::now() + 600ms;
    until([&] { return steady_clock::now() > spoken; });
    if (upTo == Kind::listening)
        return true;
    sound = 0;
    return reaches(upTo);
}

void UiWorld::remember(int conversations) {
    MemoryDatabase database(folder.file("Memory.store"));
    const auto now = std::chrono::system_clock::now();
    for (int number = 0; number < conversations; ++number) {
        const std::string id = fmt::format("conversation-{}", number);
        const auto time = now - std::chrono::hours(7) * number;
        database.insert(
            ConversationTurn{id, "user", fmt::format("remind me of item {}", number), time});
        database.insert(ConversationTurn{id, "assistant", "I will.", time});
        database.insert(ConversationSummary{
            id, fmt::format("You asked Tavik to remind you of item {}.", number), time});
    }
}

} // namespace tavik
