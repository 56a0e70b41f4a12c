#include "agent/BuiltInTools.h"
#include "app/Log.h"
#include "platform/audio/AudioServer.h"
#include "platform/concurrency/Clock.h"
#include "tests/support/Eventually.h"
#include "tests/voice/DeafNetwork.h"
#include "tests/voice/VoiceWorld.h"
#include "tools/stand-ins/services/PrivatePipeWire.h"
#include "tools/stand-ins/services/PrivatePulseAudio.h"

#include <array>
#include <cstdlib>
#include <fmt/format.h>

using namespace std::chrono_literals;
using testing::Contains;

namespace tavik {

using Kind = TavikPhase::Kind;

namespace {

constexpr float quiet = 0.05F; // what the "microphone" hears
constexpr float loud = 0.4F;   // and what the "usb" one does
constexpr float between = 0.15F;
constexpr const char* rebound = "[mic] rebound — session preserved";

// Understands the same whatever is said, and tells how long it was said for.
class ListeningTranscriber : public Transcriber {
public:
    explicit ListeningTranscriber(std::atomic<double>& secondsHeard)
        : seconds(secondsHeard) {}

    std::uint32_t sampleRate() const override { return tuning::SAMPLE_RATE; }
    std::unique_ptr<Utterance> begin(std::stop_token) override {
        return std::make_unique<Listening>(seconds);
    }

private:
    struct Listening : Utterance {
        explicit Listening(std::atomic<double>& secondsHeard)
            : seconds(secondsHeard) {}
        void feed(std::span<const float> samples) override {
            const auto spoken = std::count_if(samples.begin(), samples.end(), [](float sample) {
                return std::abs(sample) > quiet / 2;
            });
            seconds = seconds + static_cast<double>(spoken) / tuning::SAMPLE_RATE;
        }
        std::string finish(std::stop_token) override { return "what time is it"; }

        std::atomic<double>& seconds;
    };

    std::atomic<double>& seconds;
};

std::unique_ptr<PrivateSoundServer> makeServer(const std::string& kind) {
    if (kind == "PulseAudio")
        return std::make_unique<PrivatePulseAudio>();
    return std::make_unique<PrivatePipeWire>();
}

} // namespace

// A voice loop in real time at a real sound server, whose devices come and go.
class SoundDevices : public testing::TestWithParam<std::string> {
protected:
    SoundDevices() {
        setenv("PULSE_SERVER", server->server().c_str(), 1);
        TavikLog::clearHistory();
        writeTone("quiet", quiet);
        writeTone("loud", loud);
        speakQuietly();
    }
    ~SoundDevices() override { loop.reset(); }

    void start() {
        if (!loop)
            loop = std::make_unique<VoiceLoop>(services(), callbacks());
        loop->start();
    }

    testing::AssertionResult reaches(Kind kind, std::chrono::milliseconds patience = 20s) {
        if (eventually([&] { return phase.with([&](auto& now) { return now.kind == kind; }); },
                       patience))
            return testing::AssertionSuccess();
        return testing::AssertionFailure() << phase.with([](auto& now) { return now.message; });
    }
    bool hears(const std::function<bool(float level)>& isRight) {
        level = -1;
        return eventually([&] { return level >= 0 && isRight(level); });
    }
    bool hearsMicrophone() {
        return hears([](float heard) { return heard > quiet / 3 && heard < between; });
    }
    bool hearsUsb() {
        return hears([](float heard) { return heard > between; });
    }
    // How many lines of the log begin so.
    static int logged(const std::string& text) {
        TavikLog::flush();
        const std::string all = readFile(TavikLog::path());
        int count = 0;
        for (std::size_t at = 0; (at = all.find("] " + text, at)) != std::string::npos; ++at)
            ++count;
        return count;
    }
    std::vector<std::string> noticed() {
        return notices.with([](const auto& all) { return all; });
    }

    // Plugs in an input "usb", called "Headset", that hears the output "usb-feed".
    void plugIn() {
        plugged = {server->loadModule("module-null-sink", {"sink_name=usb-feed"}),
                   server->loadModule("module-remap-source",
                                      {"source_name=usb", "master=usb-feed.monitor",
                                       "source_properties=device.description=Headset"})};
        usbSpeaker = play("usb-feed", "loud");
    }
    void unplug() {
        usbSpeaker.reset();
        server->pactl({"unload-module", plugged[1]});
        server->pactl({"unload-module", plugged[0]});
    }
    void speakQuietly() { microphoneSpeaker = play("microphone-feed", "quiet"); }
    bool hearsACommandFromUsb() {
        plugIn();
        server->pactl({"set-default-source", "usb"});
        start();
        if (!reaches(Kind::idle))
            return false;
        loop->triggerSession();
        return reaches(Kind::listening) && hearsUsb();
    }
    void fallSilent() {
        usbSpeaker.reset();
        microphoneSpeaker.reset();
    }

    TemporaryFolder folder;
    std::unique_ptr<PrivateSoundServer> server = makeServer(GetParam());
    UserDefaults defaults{folder.file("settings.json")};
    std::unique_ptr<AudioServer> audio = makePulseAudioServer();
    FakeSpeech speech{systemClock()};
    std::shared_ptr<FakeBrain> brain = std::make_shared<FakeBrain>(systemClock());
    std::atomic<double> secondsHeard = 0;
    std::atomic<float> level = 0;
    Locked<TavikPhase> phase;
    Locked<std::vector<std::string>> notices;
    std::unique_ptr<VoiceLoop> loop;

private:
    // A minute of it.
    void writeTone(const std::string& name, float amplitude) {
        std::vector<float> samples(60 * tuning::SAMPLE_RATE);
        for (std::size_t i = 0; i < samples.size(); ++i)
            samples[i] = i / 20 % 2 == 0 ? amplitude : -amplitude;
        writeFile(folder.file(name),
                  {reinterpret_cast<const char*>(samples.data()), samples.size() * sizeof(float)});
    }
    std::unique_ptr<ChildProcess> play(const std::string& sink, const std::string& tone) {
        return std::make_unique<ChildProcess>(ChildProcess::Command{
            .arguments = {"pacat", "--playback", "--raw", "--format=float32le", "--channels=1",
                          "--latency-msec=100", "--device=" + sink,
                          fmt::format("--rate={}", tuning::SAMPLE_RATE), folder.file(tone)},
            .environment = {},
            .outputPath = "",
            .input = ""});
    }

    static AgentSurroundings surroundings() {
        AgentSurroundings around;
        around.buildToolbox = [](std::stop_token) { return DesktopToolbox(builtInToolSpecs()); };
        around.recap = [](const std::string&) { return std::nullopt; };
        around.readContext = [](std::stop_token) { return DesktopContext{}; };
        around.clipboard = {};
        around.clock = &systemClock();
        return around;
    }

    VoiceServices services() {
        return {
            .clock = systemClock(),
            .defaults = defaults,
            .audio = *audio,
            .speech = speech,
            .openTranscriber =
                [this](Vocabulary) { return std::make_unique<ListeningTranscriber>(secondsHeard); },
            .loadWakeModel = [] { return std::make_unique<DeafNetwork>(); },
            .prepareBrain = [] {},
            .makeBrain = [this](std::stop_token) { return brain; },
            .makeAgentSession =
                [](std::shared_ptr<Brain> made, std::string sessionID) {
                    return std::make_unique<AgentSession>(std::move(made), std::move(sessionID),
                                                          surroundings());
                },
            .remember = [](const auto&...) {},
            .onConversationEnd = [](const auto&...) {}};
    }
    VoiceCallbacks callbacks() {
        VoiceCallbacks callbacks;
        callbacks.onPhase = [this](const TavikPhase& now) {
            phase.with([&](TavikPhase& last) { last = now; });
        };
        callbacks.onNotice = [this](const std::string& text, bool) {
            notices.with([&](auto& all) { all.push_back(text); });
        };
        callbacks.onLevel = [this](float heard) { level = heard; };
        return callbacks;
    }

    std::array<std::string, 2> plugged;
    std::unique_ptr<ChildProcess> microphoneSpeaker;
    std::unique_ptr<ChildProcess> usbSpeaker;
};

INSTANTIATE_TEST_SUITE_P(At, SoundDevices, testing::Values(std::string("PulseAudio"), "PipeWire"),
                         [](const auto& tested) { return tested.param; });

TEST_P(SoundDevices, TheSavedMicrophoneIsUsedWheneverItIsThere) {
    defaults.set("micDevice", "Headset");
    start();
    ASSERT_TRUE(reaches(Kind::idle));
    EXPECT_TRUE(hearsMicrophone());
    EXPECT_THAT(
        noticed(),
        Contains("Saved mic \"Headset\" isn't connected — using the system default input."));

    plugIn();
    EXPECT_TRUE(hearsUsb());
    EXPECT_EQ(server->pactl({"get-default-source"}), "usb\n");

    unplug();
    EXPECT_TRUE(hearsMicrophone());
    EXPECT_TRUE(reaches(Kind::idle));
    EXPECT_EQ(noticed().size(), 2U);
}

TEST_P(SoundDevices, TheDefaultInputIsFollowed) {
    plugIn();
    server->pactl({"set-default-source", "microphone"});
    start();
    ASSERT_TRUE(reaches(Kind::idle));
    EXPECT_TRUE(hearsMicrophone());
    server->pactl({"set-default-source", "usb"});
    EXPECT_TRUE(hearsUsb());
    EXPECT_EQ(logged(rebound), 1);
}

TEST_P(SoundDevices, ACommandGoesOnWhenItsMicrophoneIsPulledOut) {
    brain->will("It is nine.");
    ASSERT_TRUE(hearsACommandFromUsb());
    unplug();
    ASSERT_TRUE(eventually([] { return logged(rebound) == 1; }));
    const double before = secondsHeard;
    EXPECT_TRUE(eventually([&] { return secondsHeard > before + 0.5; })) << "the command was cut";
    EXPECT_TRUE(speech.spoken().empty());
    fallSilent();
    EXPECT_TRUE(eventually([&] { return speech.spoken().size() == 1; }));
}

TEST_P(SoundDevices, AnAnswerGoesOnWhenTheMicrophoneIsPulledOut) {
    std::string longAnswer; // of six seconds
    for (int word = 0; word < 60; ++word)
        longAnswer += "on ";
    brain->will(longAnswer);
    ASSERT_TRUE(hearsACommandFromUsb());
    fallSilent();
    ASSERT_TRUE(reaches(Kind::speaking));
    const int rebounds = logged(rebound);
    unplug();
    ASSERT_TRUE(eventually([&] { return logged(rebound) > rebounds; }));
    EXPECT_EQ(phase.with([](auto& now) { return now.kind; }), Kind::speaking);
    EXPECT_TRUE(reaches(Kind::listening));
    speakQuietly();
    EXPECT_TRUE(hearsMicrophone());
}

TEST_P(SoundDevices, AServerThatComesBackIsUsedAgain) {
    start();
    ASSERT_TRUE(reaches(Kind::idle));
    EXPECT_TRUE(hearsMicrophone());
    server->kill();
    ASSERT_TRUE(reaches(Kind::error));
    EXPECT_EQ(logged("[mic] ⚠ rebind failed — stopping the loop (error already reported)"), 1);
    server->restart();
    speakQuietly();
    start();
    ASSERT_TRUE(reaches(Kind::idle));
    EXPECT_TRUE(hearsMicrophone());
}

// PipeWire gives silence where an input gives nothing.
class PulseAudioDevices : public SoundDevices {};
INSTANTIATE_TEST_SUITE_P(At, PulseAudioDevices, testing::Values(std::string("PulseAudio")));

TEST_P(PulseAudioDevices, AMicrophoneThatDeliversNothingIsGivenUp) {
    server->loadModule("module-pipe-source", {"source_name=dead", "file=" + folder.file("dead")});
    server->pactl({"set-default-source", "dead"});
    start();
    ASSERT_TRUE(reaches(Kind::error, 60s)); // after four times five seconds
    EXPECT_EQ(phase.with([](auto& now) { return now.message; }),
              "The microphone isn't delivering any audio. Try another input device in Settings.");
    server->pactl({"set-default-source", "microphone"});
    start();
    ASSERT_TRUE(reaches(Kind::idle));
    EXPECT_TRUE(hearsMicrophone());
}

} // namespace tavik
