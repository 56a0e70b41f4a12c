#include "tools/demo/LiveVoice.h"

#include "agent/AgentSession.h"
#include "app/Log.h"
#include "app/Paths.h"
#include "brains/MakeBrain.h"
#include "platform/concurrency/Clock.h"
#include "platform/defaults/UserDefaults.h"
#include "platform/files/AtomicFile.h"
#include "platform/inference/AudioNetwork.h"
#include "platform/recognition/Transcriber.h"
#include "tools/stand-ins/services/StandInVoice.h"
#include "voice/VoiceTuning.h"

#include <algorithm>

namespace tavik::demo {

namespace {

using namespace std::chrono_literals;
using std::chrono::system_clock;

constexpr const char* speaker = "flite:slt";
constexpr auto poll = 5ms;
constexpr auto microphoneDelay = 150ms; // until a sound that was played has been recorded

Options standardOptions() {
    return Options{};
}

// The loud part of `recording` within that time.
std::optional<Part> loudPartOf(const Recording& recording, WallTime begin, WallTime end) {
    const std::size_t from = recording.sampleAt(begin);
    const std::size_t to = std::max(from, recording.sampleAt(end));
    const auto part =
        loudPart(std::span(recording.sound.samples).subspan(from, to - from), recording.sound.rate);
    return part ? std::optional(Part{part->begin + from, part->end + from}) : std::nullopt;
}

} // namespace

LiveVoice::LiveVoice(const PrivateHome& privateHome)
    : home(privateHome)
    , stage(standardOptions(), privateHome)
    , audio(makePulseAudioServer())
    , speech(makeSpeechDispatcher()) {
    VoiceCallbacks callbacks;
    callbacks.onPhase = [this](const TavikPhase& phase) {
        entered.with([&](auto& all) { all.push_back({system_clock::now(), phase}); });
    };
    callbacks.onPauseListening = [this] { ++pauseRequests; };
    loop = std::make_unique<VoiceLoop>(services(), callbacks);
    loop->start();
}

LiveVoice::~LiveVoice() {
    loop.reset();
}

VoiceServices LiveVoice::services() {
    return VoiceServices{
        .clock = systemClock(),
        .defaults = UserDefaults::standard(),
        .audio = *audio,
        .speech = *speech,
        .openTranscriber = openEmbeddedTranscriber,
        .loadWakeModel =
            [] {
                return loadAudioNetwork(resourcePath("HeyVessa_runtime.onnx"), tuning::WAKE_WINDOW,
                                        2);
            },
        .prepareBrain = [] {},
        .makeBrain =
            [](std::stop_token stop) { return std::shared_ptr<Brain>(makeBrain(std::move(stop))); },
        .makeAgentSession =
            [](std::shared_ptr<Brain> brain, std::string sessionID) {
                return std::make_unique<AgentSession>(std::move(brain), std::move(sessionID));
            },
        .remember =
            [this](const std::string&, const std::string& role, const std::string& text) {
                memory.with([&](auto& all) { all.push_back(role + ": " + text); });
            },
        .onConversationEnd =
            [this](const std::string&) { memory.with([](auto& all) { all.emplace_back("end"); }); },
    };
}

std::optional<WallTime> LiveVoice::await(TavikPhase::Kind kind,
                                         std::chrono::milliseconds patience) {
    const auto limit = system_clock::now() + patience;
    while (true) {
        const auto all = phases();
        while (seen < all.size()) {
            const Entered& each = all[seen++];
            if (each.phase.kind == kind)
                return each.time;
        }
        if (system_clock::now() > limit)
            return std::nullopt;
        wait(poll);
    }
}

WallTime LiveVoice::say(const std::string& text) {
    const auto begin = system_clock::now();
    stage.playToMicrophone(spoken(text), {});
    wait(microphoneDelay);
    const Recording heard = stage.heardByMicrophone();
    const auto part = loudPartOf(heard, begin, system_clock::now());
    return part ? heard.timeOf(part->end - 1) : system_clock::now();
}

const Sound& LiveVoice::spoken(const std::string& text) {
    Sound& sound = sounds[text];
    if (sound.samples.empty()) {
        const std::string path = home.file("said.wav");
        synthesizeSpeech(text, speaker, path);
        sound = readSound(path);
    }
    return sound;
}

void LiveVoice::wait(std::chrono::milliseconds duration) {
    systemClock().sleepFor(duration, {});
}

Sound LiveVoice::saidAloud(WallTime begin, WallTime end) const {
    const Recording all = stage.saidAloud();
    const auto first = all.sound.samples.begin();
    const auto from = static_cast<std::ptrdiff_t>(all.sampleAt(begin));
    const auto to = std::max(from, static_cast<std::ptrdiff_t>(all.sampleAt(end)));
    return {all.sound.rate, {first + from, first + to}};
}

std::string LiveVoice::heardAloud(WallTime begin, WallTime end) const {
    const auto transcriber = openEmbeddedTranscriber(Vocabulary::commands);
    const auto utterance = transcriber->begin({});
    utterance->feed(resampled(saidAloud(begin, end), transcriber->sampleRate()).samples);
    return utterance->finish({});
}

std::optional<WallTime> LiveVoice::firstSound(WallTime begin, WallTime end) const {
    const Recording all = stage.saidAloud();
    const auto part = loudPartOf(all, begin, end);
    return part ? std::optional(all.timeOf(part->begin)) : std::nullopt;
}

std::optional<WallTime> LiveVoice::lastSound(WallTime begin, WallTime end) const {
    const Recording all = stage.saidAloud();
    const auto part = loudPartOf(all, begin, end);
    return part ? std::optional(all.timeOf(part->end - 1)) : std::nullopt;
}

std::vector<LiveVoice::Entered> LiveVoice::phases() const {
    return entered.with([](const auto& all) { return all; });
}

std::vector<std::string> LiveVoice::remembered() const {
    return memory.with([](const auto& all) { return all; });
}

std::string LiveVoice::log() const {
    TavikLog::flush();
    return readWholeFile(logPath(), 1 << 24).value_or("");
}

} // namespace tavik::demo
