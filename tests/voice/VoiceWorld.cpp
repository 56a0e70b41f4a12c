#include "tests/voice/VoiceWorld.h"

#include "agent/BuiltInTools.h"
#include "app/Log.h"
#include "app/Paths.h"
#include "platform/concurrency/Cancelled.h"
#include "voice/VoiceTuning.h"

#include <algorithm>
#include <fmt/format.h>
#include <fstream>

using namespace std::chrono_literals;

namespace tavik {

namespace {

constexpr auto bufferTime = 50ms;
constexpr std::size_t bufferSamples = tuning::SAMPLE_RATE / 20;
constexpr std::size_t stampLength = 15; // "[HH:MM:SS.mmm] "

} // namespace

void FakeSpeech::speak(const std::string& text, const std::optional<Voice>&, std::stop_token) {
    if (isMissing)
        throw SpeechError("no speech service answers");
    onSpeak(text);
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

BrainReply FakeBrain::chat(const std::vector<AgentMessage>& messages, const std::vector<ToolSpec>&,
                           std::stop_token stop) {
    ++calls;
    lastTranscript = messages;
    onChat(messages);
    if (thinkingTime > 0s)
        clock.sleepFor(thinkingTime, stop);
    throwIfStopped(stop);
    if (isBroken)
        throw std::runtime_error("broken");
    if (replies.empty())
        throw BrainError(
            "Gemini is overloaded right now. That's on their side — try again in a moment.");
    BrainReply reply = replies.front();
    replies.pop_front();
    return reply;
}

void FakeBrain::will(const std::string& text, const std::string& tool) {
    BrainReply reply;
    if (!text.empty())
        reply.text = text;
    if (!tool.empty())
        reply.toolCalls.push_back({"call", tool});
    replies.push_back(std::move(reply));
}

VoiceWorld::VoiceWorld() {
    clock.join();
    TavikLog::clearHistory();
    audio.onSound = [this](const std::string& name, double volume) {
        note(fmt::format("sound {} {}", name, volume));
    };
    speech.onSpeak = [this](const std::string& text) { note("speaks " + text); };
}

VoiceWorld::~VoiceWorld() {
    loop.reset();
}

AgentSurroundings VoiceWorld::surroundings() {
    AgentSurroundings around;
    around.buildToolbox = [this](std::stop_token) {
        return hasToolbox ? std::optional(DesktopToolbox(builtInToolSpecs())) : std::nullopt;
    };
    around.recap = [](const std::string&) { return std::nullopt; };
    around.readContext = [](std::stop_token) { return DesktopContext{}; };
    around.clipboard = {};
    around.clock = &clock;
    return around;
}

void VoiceWorld::start() {
    loop.reset();
    {
        const std::lock_guard lock(mutex);
        reported.clear();
        seen = 0;
    }
    loop = std::make_unique<VoiceLoop>(services(), callbacks());
    restart();
}

void VoiceWorld::restart() {
    loop->start();
    clock.awaitThreads(2);
}

void VoiceWorld::playSounds() {
    const auto next = [](Sounds& sounds) {
        if (sounds.empty())
            return silenceLevel;
        const float level = sounds.front().first;
        if ((sounds.front().second -= bufferTime) <= Clock::Duration::zero())
            sounds.pop_front();
        return level;
    };
    std::unique_lock lock(mutex);
    const float heard = next(atMicrophone);
    const float played = next(atLoudspeaker);
    lock.unlock();
    if (!microphoneIsDead)
        audio.play(std::vector<float>(bufferSamples, heard));
    audio.playLoudspeaker(std::vector<float>(bufferSamples, played));
}

VoiceServices VoiceWorld::services() {
    return VoiceServices{
        .clock = clock,
        .defaults = defaults,
        .audio = audio,
        .speech = speech,
        .openTranscriber = [this](Vocabulary vocabulary) { return listeners.open(vocabulary); },
        .loadWakeModel = [this] { return listeners.loadModel(); },
        .prepareBrain = [this] { ++preparations; },
        .makeBrain = [this](std::stop_token) { return brain; },
        .makeAgentSession =
            [this](std::shared_ptr<Brain> made, std::string sessionID) {
                return std::make_unique<AgentSession>(std::move(made), std::move(sessionID),
                                                      surroundings());
            },
        .remember = [this](const std::string& sessionID, const std::string& role,
                           const std::string& text) { remember(sessionID, role, text); },
        .onConversationEnd = [this](const std::string& sessionID) { endMemory(sessionID); },
    };
}

VoiceCallbacks VoiceWorld::callbacks() {
    VoiceCallbacks callbacks;
    callbacks.onPhase = [this](const TavikPhase& phase) { notePhase(phase); };
    callbacks.onNotice = [this](const std::string& text, bool) {
        const std::lock_guard lock(mutex);
        notices.push_back(text);
    };
    callbacks.onPauseListening = [this] {
        note("pause");
        ++pauseRequests;
    };
    return callbacks;
}

// Holds the loop up until the threads that it has started take part in the simulated time.
void VoiceWorld::notePhase(const TavikPhase& phase) {
    clock.join();
    note("phase " + describe(phase));
    onPhase(phase);
    bool wasIdle = false;
    {
        const std::lock_guard lock(mutex);
        wasIdle = !reported.empty() && reported.back().kind == TavikPhase::Kind::idle;
        reported.push_back(phase);
    }
    if (phase.kind == TavikPhase::Kind::idle)
        clock.awaitThreads(3);
    if (phase.kind != TavikPhase::Kind::listening)
        return;
    clock.awaitThreads(1 + threadsInConversation);
    if (wasIdle)
        listeners.awaitVerification();
}

void VoiceWorld::note(const std::string& event) {
    if (tellsStory)
        log("# " + event);
}

void VoiceWorld::remember(const std::string& sessionID, const std::string& role,
                          const std::string& text) {
    note("remembers " + role + ": " + text);
    const std::lock_guard lock(mutex);
    if (!openSession.empty() && openSession != sessionID)
        wrong.push_back("a conversation began before the last one had ended");
    const bool followsUser = !memory.empty() && memory.back().starts_with("user: ");
    if (role == "assistant" && !followsUser)
        wrong.push_back("an answer was remembered without its question");
    openSession = sessionID;
    memory.push_back(role + ": " + text);
}

void VoiceWorld::endMemory(const std::string& sessionID) {
    note("remembers end");
    const std::lock_guard lock(mutex);
    if (openSession != sessionID)
        wrong.push_back("a conversation ended of which nothing was remembered");
    openSession.clear();
    memory.emplace_back("end");
}

std::vector<std::string> VoiceWorld::complaints() {
    const std::lock_guard lock(mutex);
    auto all = wrong;
    if (!openSession.empty())
        all.push_back("a conversation is over, but not in the memory");
    return all;
}

TavikPhase VoiceWorld::lastPhase() {
    const std::lock_guard lock(mutex);
    return reported.empty() ? TavikPhase{} : reported.back();
}

bool VoiceWorld::isQuiet() {
    const std::lock_guard lock(mutex);
    return atMicrophone.empty();
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

void VoiceWorld::append(Sounds& sounds, float level, Clock::Duration duration) {
    const std::lock_guard lock(mutex);
    sounds.emplace_back(level, duration);
}

void VoiceWorld::sayWakePhrase() {
    append(atMicrophone, wakeLevel, 700ms);
}

void VoiceWorld::say(Clock::Duration duration) {
    append(atMicrophone, speechLevel, duration);
}

void VoiceWorld::pause(Clock::Duration duration) {
    append(atMicrophone, silenceLevel, duration);
}

void VoiceWorld::loudspeakerSaysWakePhrase() {
    append(atLoudspeaker, wakeLevel, 700ms);
}

bool VoiceWorld::eventually(const std::function<bool()>& condition) {
    const auto limit = clock.now() + 5min;
    while (!condition()) {
        if (clock.now() > limit)
            return false;
        pass(10ms);
    }
    return true;
}

bool VoiceWorld::reaches(TavikPhase::Kind kind) {
    return eventually([&] {
        const std::lock_guard lock(mutex);
        const auto isKind = [kind](const TavikPhase& phase) { return phase.kind == kind; };
        const auto from = reported.begin() + static_cast<std::ptrdiff_t>(seen);
        const auto found = std::find_if(from, reported.end(), isKind);
        if (found == reported.end())
            return false;
        seen = static_cast<std::size_t>(found - reported.begin()) + 1;
        return true;
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

std::vector<std::string> VoiceWorld::story() {
    TavikLog::flush();
    std::ifstream file(logPath());
    std::vector<std::string> lines;
    for (std::string line; std::getline(file, line);)
        if (line.size() > stampLength && line.find("] [mic]") == std::string::npos)
            lines.push_back(line.substr(stampLength));
    return lines;
}

} // namespace tavik
