#include "platform/concurrency/Cancelled.h"
#include "tests/platform/audio/HeardSound.h"
#include "tests/support/StopTiming.h"
#include "tools/stand-ins/services/PrivatePulseAudio.h"
#include "tools/stand-ins/services/TemporaryFolder.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <condition_variable>
#include <cstdlib>
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <numbers>

namespace tavik {

namespace {

using namespace std::chrono_literals;
using std::chrono::steady_clock;
using testing::ElementsAre;

constexpr double pitch = 440; // Hz
constexpr double amplitude = 0.5;
constexpr double toneLevel = amplitude / std::numbers::sqrt2;

std::vector<std::string> identifiersOf(const std::vector<AudioDevice>& devices) {
    std::vector<std::string> identifiers;
    for (const AudioDevice& device : devices)
        identifiers.push_back(device.identifier);
    return identifiers;
}

// How often a route change was told.
class Notifications {
public:
    void note() {
        const std::lock_guard lock(mutex);
        ++count;
        changed.notify_all();
    }
    // Whether there is one within `patience`; forgets all so far.
    bool take(std::chrono::milliseconds patience) {
        std::unique_lock lock(mutex);
        const bool any = changed.wait_for(lock, patience, [this] { return count > 0; });
        count = 0;
        return any;
    }

private:
    std::mutex mutex;
    std::condition_variable changed;
    int count = 0;
};

template<typename Call>
steady_clock::duration timeToFail(Call call) {
    const auto start = steady_clock::now();
    EXPECT_THROW(call(), AudioError);
    return steady_clock::now() - start;
}

} // namespace

class AudioServerTest : public testing::Test {
protected:
    AudioServerTest() { setenv("PULSE_SERVER", pulse.server().c_str(), 1); }

    // An input "usb" that hears the output "usb-feed", both with this format.
    std::string addInput(const AudioFormat& format = {48000, 2}) {
        feedModule =
            pulse.loadModule("module-null-sink", {"sink_name=usb-feed", "norewinds=1",
                                                  fmt::format("rate={}", format.sampleRate),
                                                  fmt::format("channels={}", format.channelCount)});
        return pulse.loadModule("module-remap-source",
                                {"source_name=usb", "master=usb-feed.monitor",
                                 "source_properties=device.description=Headset"});
    }

    // Plays a tone into the first channel of "usb-feed" for as long as the process lives.
    std::unique_ptr<ChildProcess> playTone(const AudioFormat& format) {
        constexpr std::size_t seconds = 6;
        std::vector<float> frames(seconds * format.sampleRate * format.channelCount);
        for (std::size_t i = 0; i < frames.size(); i += format.channelCount)
            frames[i] = static_cast<float>(amplitude *
                                           std::sin(2 * std::numbers::pi * pitch *
                                                    static_cast<double>(i / format.channelCount) /
                                                    format.sampleRate));
        writeFile(folder.file("tone"),
                  {reinterpret_cast<const char*>(frames.data()), frames.size() * sizeof(float)});
        return std::make_unique<ChildProcess>(ChildProcess::Command{
            .arguments = {"pacat", "--playback", "--raw", "--format=float32le",
                          "--latency-msec=100", "--device=usb-feed",
                          fmt::format("--rate={}", format.sampleRate),
                          fmt::format("--channels={}", format.channelCount), folder.file("tone")},
            .environment = {},
            .outputPath = "",
            .input = ""});
    }

    TemporaryFolder folder;
    PrivatePulseAudio pulse;
    std::string feedModule; // of "usb-feed"
    std::unique_ptr<AudioServer> audio = makePulseAudioServer();
};

TEST_F(AudioServerTest, ListsMicrophonesButNoMonitors) {
    addInput({8000, 1});

    const auto inputs = audio->inputs({});
    ASSERT_THAT(identifiersOf(inputs), ElementsAre("microphone", "usb"));
    EXPECT_EQ(inputs[1].name, "Headset");
    EXPECT_EQ(inputs[1].format, (AudioFormat{8000, 1}));
    EXPECT_EQ(audio->defaultInput({}).value().identifier, "microphone");
    EXPECT_EQ(audio->defaultOutput({}).value().identifier, "speaker");

    pulse.pactl({"set-default-source", "speaker.monitor"});
    EXPECT_FALSE(audio->defaultInput({}));
}

TEST_F(AudioServerTest, CapturesInTheDevicesOwnFormat) {
    for (const AudioFormat& format :
         {AudioFormat{8000, 1}, {44100, 2}, {96000, 1}, {48000, 6}, {16000, 12}}) {
        SCOPED_TRACE(describe(format));
        const std::string module = addInput(format);
        const auto player = playTone(format);
        {
            HeardSound heard(*audio, sourceNamed(*audio, "usb"));
            EXPECT_EQ(heard.format(), format);
            while (loudTimeOf(heard.since(0), format.sampleRate).length < 0.3)
                ASSERT_TRUE(heard.hearMore(0.1)) << "nothing is heard";
            // On a busy machine the sound server leaves gaps now and then.
            bool isClean = false;
            double frequency = 0;
            double level = 0;
            for (int window = 0; window < 6 && !isClean; ++window) {
                const double begin = heard.seconds();
                ASSERT_TRUE(heard.hearMore(0.5));
                const auto samples = heard.since(begin);
                frequency = frequencyOf(samples, format.sampleRate);
                level = levelOf(samples);
                isClean = std::abs(frequency - pitch) < 5 && std::abs(level - toneLevel) < 0.02;
            }
            EXPECT_TRUE(isClean) << frequency << " Hz, level " << level;
        }
        pulse.pactl({"unload-module", module});
        pulse.pactl({"unload-module", feedModule});
    }
}

TEST_F(AudioServerTest, FirstSamplesComeAtOnce) {
    const auto start = steady_clock::now();
    HeardSound heard(*audio, audio->defaultInput({}).value());
    ASSERT_TRUE(heard.hearMore(0.01));

    EXPECT_LT(steady_clock::now() - start, 500ms); // some 20 ms where the machine is idle
}

TEST_F(AudioServerTest, ALeisurelyDeviceIsHurried) {
    // With rewinds a null sink brings two seconds at a time to those who do not ask for less.
    pulse.loadModule("module-null-sink", {"sink_name=leisurely"});
    pulse.loadModule("module-remap-source", {"source_name=slow", "master=leisurely.monitor"});
    HeardSound heard(*audio, sourceNamed(*audio, "slow"));
    ASSERT_TRUE(heard.hearMore(0.01));

    const auto start = steady_clock::now();
    ASSERT_TRUE(heard.hearMore(0.5));
    EXPECT_GT(steady_clock::now() - start, 300ms) << "it came in one piece";
    EXPECT_LT(steady_clock::now() - start, 1200ms) << "it was long in coming";
}

TEST_F(AudioServerTest, RefusesWhatCannotBeRecorded) {
    const auto tap = [](std::span<const float>, const AudioFormat&) {};
    const auto ended = [](const std::string&) { ADD_FAILURE() << "ended"; };
    for (const AudioDevice& device : {AudioDevice{7, "nothing", "Nothing", {48000, 2}},
                                      {0, "microphone", "No channels", {48000, 0}},
                                      {0, "microphone", "No rate", {0, 2}},
                                      {0, "microphone", "More than a byte", {48000, 257}},
                                      {0, "microphone", "Huge", {0xFFFFFFFF, 0xFFFFFFFF}}})
        EXPECT_THROW(audio->openCapture(device, tap, ended, {}), AudioError) << device.name;
}

TEST_F(AudioServerTest, CaptureEndsOnceWhenItsDeviceGoes) {
    struct Case {
        std::vector<std::string> command; // for pactl
        std::string reason;
        std::vector<std::string> afterwards;
    };
    const std::string module = addInput();
    pulse.loadModule("module-rescue-streams", {}); // offers other devices, as desktops do
    for (const Case& each : {Case{{"suspend-source", "usb", "1"},
                                  "the microphone was suspended",
                                  {"suspend-source", "usb", "0"}},
                             Case{{"unload-module", module}, "Entity killed", {"info"}}}) {
        HeardSound heard(*audio, sourceNamed(*audio, "usb"));
        ASSERT_TRUE(heard.hearMore(0.05));
        pulse.pactl(each.command);

        EXPECT_EQ(heard.awaitEnd().reason, each.reason);
        pulse.pactl(each.afterwards);
        audio->inputs({}); // by now the server has told all that it has to tell
        EXPECT_EQ(heard.end().count, 1);
    }
    EXPECT_THAT(identifiersOf(audio->inputs({})), ElementsAre("microphone"));
}

TEST_F(AudioServerTest, SurvivesTheDeathOfTheServer) {
    Notifications notifications;
    audio->watchRoutes([&] { notifications.note(); }, {});
    HeardSound heard(*audio, audio->defaultInput({}).value());
    ASSERT_TRUE(heard.hearMore(0.05));
    notifications.take(0ms);

    pulse.kill();
    EXPECT_EQ(heard.awaitEnd().reason, "Connection terminated");
    EXPECT_TRUE(notifications.take(2s));
    EXPECT_LT(timeToFail([&] { audio->inputs({}); }), 1s);
    EXPECT_LT(timeToFail([&] { audio->watchRoutes([] {}, {}); }), 1s);
    EXPECT_EQ(heard.end().count, 1);

    pulse.restart();
    HeardSound again(*audio, audio->defaultInput({}).value());
    EXPECT_TRUE(again.hearMore(0.05));
    pulse.pactl({"set-default-source", "speaker.monitor"});
    EXPECT_TRUE(notifications.take(2s)) << "the new connection is not watched";
}

TEST_F(AudioServerTest, GivesUpOnAServerThatDoesNotAnswer) {
    const auto device = audio->defaultInput({}).value();
    auto heard = std::make_unique<HeardSound>(*audio, device);
    pulse.process().suspend();

    const auto start = steady_clock::now();
    heard.reset();
    EXPECT_LT(steady_clock::now() - start, 200ms);

    const auto newcomer = makePulseAudioServer();
    const std::function<void(std::stop_token)> stoppable[] = {
        [&](std::stop_token stop) { audio->setDefaultInputConfirmed(device, stop); },
        [&](std::stop_token stop) { audio->defaultInput(stop); },
        [&](std::stop_token stop) { audio->openCapture(device, {}, {}, stop); },
        [&](std::stop_token stop) { newcomer->defaultOutput(stop); },
    };
    for (const auto& ask : stoppable)
        EXPECT_LT(timeToCancel(ask), 200ms); // 50 ms where the machine is idle
    EXPECT_LT(timeToFail([&] { audio->inputs({}); }), 3s);
    EXPECT_LT(timeToFail([&] { HeardSound(*audio, device); }), 3s);
    EXPECT_LT(timeToFail([&] { newcomer->inputs({}); }), 3s);

    pulse.process().resume();
    EXPECT_EQ(audio->defaultInput({}).value().id, device.id);
    const auto isRecorded = [&] {
        return pulse.pactl({"list", "source-outputs"}).find("Listening") != std::string::npos;
    };
    for (int look = 0; look < 20 && isRecorded(); ++look)
        std::this_thread::sleep_for(50ms);
    EXPECT_FALSE(isRecorded()) << "the recording that was given up goes on unheard";
}

TEST_F(AudioServerTest, NoServerIsAClearError) {
    for (const auto& address : {"unix:" + folder.file("none"), std::string("nonsense://")}) {
        setenv("PULSE_SERVER", address.c_str(), 1);
        const auto lonely = makePulseAudioServer();
        EXPECT_LT(timeToFail([&] { lonely->inputs({}); }), 1s) << address;
        EXPECT_LT(timeToFail([&] { lonely->watchRoutes([] {}, {}); }), 1s) << address;
    }
}

TEST_F(AudioServerTest, ConfirmsTheNewDefaultInput) {
    addInput();

    EXPECT_TRUE(audio->setDefaultInputConfirmed(sourceNamed(*audio, "usb"), {}));
    EXPECT_EQ(audio->defaultInput({}).value().identifier, "usb");
    EXPECT_EQ(pulse.pactl({"get-default-source"}), "usb\n");
    EXPECT_FALSE(audio->setDefaultInputConfirmed({9, "gone", "Gone", {48000, 2}}, {}));
    EXPECT_EQ(audio->defaultInput({}).value().identifier, "usb");
}

TEST_F(AudioServerTest, TellsOfRouteChangesOnly) {
    Notifications notifications;
    audio->watchRoutes([&] { notifications.note(); }, {});

    pulse.pactl({"set-source-volume", "microphone", "50%"});
    const HeardSound heard(*audio, audio->defaultInput({}).value());
    EXPECT_FALSE(notifications.take(200ms)) << "a volume or a recording is no route";
    addInput();
    EXPECT_TRUE(notifications.take(2s));
    notifications.take(200ms);
    pulse.pactl({"set-default-source", "usb"});
    EXPECT_TRUE(notifications.take(2s));
    notifications.take(200ms);
    pulse.loadModule("module-null-sink", {"sink_name=headphones"});
    EXPECT_TRUE(notifications.take(2s));

    audio->watchRoutes({}, {});
    notifications.take(0ms);
    pulse.pactl({"set-default-sink", "headphones"});
    EXPECT_FALSE(notifications.take(200ms)) << "nobody watches any more";
}

TEST_F(AudioServerTest, TheTapIsSilentOnceTheCaptureIsGone) {
    std::atomic<bool> isOpen = false;
    for (int round = 0; round < 20; ++round) {
        std::atomic<int> calls = 0;
        isOpen = true;
        auto capture = audio->openCapture(
            audio->defaultInput({}).value(),
            [&](std::span<const float>, const AudioFormat&) {
                EXPECT_TRUE(isOpen);
                ++calls;
            },
            [](const std::string&) {}, {});
        while (round % 2 == 0 && calls == 0)
            std::this_thread::sleep_for(1ms);
        capture.reset();
        isOpen = false;
    }
}

TEST_F(AudioServerTest, PlaysShortSoundsAtTheirVolume) {
    ShortSound tone{"tone", 22050, std::vector<float>(22050 / 4)};
    for (std::size_t i = 0; i < tone.samples.size(); ++i)
        tone.samples[i] = static_cast<float>(
            amplitude * std::sin(2 * std::numbers::pi * pitch * static_cast<double>(i) / 22050));
    std::vector<double> levels;
    for (const double volume : {1.0, 0.3, 0.3}) {
        if (levels.size() == 2)
            pulse.restart(); // which forgets the sound
        HeardSound heard(*audio, sourceNamed(*audio, "speaker.monitor"));
        ASSERT_TRUE(heard.hearMore(0.2));
        const double begin = heard.seconds();
        const auto asked = steady_clock::now();
        audio->playSound(tone, volume, {});
        EXPECT_LT(steady_clock::now() - asked, 500ms);
        ASSERT_TRUE(heard.hearMore(1));
        const auto samples = heard.since(begin);
        const LoudTime loud = loudTimeOf(samples, heard.format().sampleRate);
        EXPECT_NEAR(loud.length, 0.25, 0.05);
        levels.push_back(*std::max_element(samples.begin(), samples.end()));
    }
    EXPECT_THAT(levels, ElementsAre(testing::DoubleNear(amplitude, 0.03),
                                    testing::DoubleNear(0.3 * amplitude, 0.01),
                                    testing::DoubleNear(0.3 * amplitude, 0.01)));

    pulse.process().suspend();
    EXPECT_THROW(audio->playSound({"other", 22050, tone.samples}, 1, {}), AudioError);
    std::stop_source stop;
    stop.request_stop();
    EXPECT_THROW(audio->playSound(tone, 1, stop.get_token()), Cancelled);
    pulse.process().resume();
    EXPECT_THROW(readShortSound("none", folder.file("none")), AudioError);
}

TEST_F(AudioServerTest, ACaptureMayOutliveItsServer) {
    auto server = makePulseAudioServer();
    server->watchRoutes([] { ADD_FAILURE() << "the watcher is gone"; }, {});
    HeardSound heard(*server, server->defaultInput({}).value());
    server.reset();

    addInput(); // changes the route
    EXPECT_TRUE(heard.hearMore(0.05));
    pulse.kill();
    EXPECT_EQ(heard.awaitEnd().count, 1);
}

} // namespace tavik
