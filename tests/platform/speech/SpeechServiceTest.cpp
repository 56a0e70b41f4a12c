#include "platform/speech/SpeechDispatcher.h"
#include "tests/platform/speech/SpeechWorld.h"
#include "tests/support/SimulatedClock.h"
#include "tests/support/StopTiming.h"
#include "tools/stand-ins/services/TemporaryFolder.h"

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <thread>

namespace tavik {

namespace {

using namespace std::chrono_literals;

// Some five seconds.
const std::string longText =
    "One two three four five six seven eight nine ten eleven twelve thirteen fourteen fifteen "
    "sixteen seventeen eighteen nineteen twenty twenty-one twenty-two twenty-three twenty-four.";

} // namespace

// What happens when the speech service hangs, dies, or is not there at all.
class SpeechServiceTest : public testing::Test {
protected:
    SpeechWorld world;
    SpeechOutput& speech = *world.speech;
};

TEST_F(SpeechServiceTest, AHangingServiceHoldsNobodyUp) {
    speech.speak(longText, {}, {});
    world.service.process().suspend();
    EXPECT_LT(timeOf([&] { speech.isSpeaking(); }), 100ms);
    EXPECT_LT(timeOf([&] { speech.stopSpeaking(); }), 100ms);
    EXPECT_LT(timeToFail([&] { speech.speak("Hello.", {}, {}); }), 2500ms);
    EXPECT_FALSE(speech.isSpeaking());
    EXPECT_LT(timeToFail([&] { speech.voices({}); }), 2500ms);
    {
        const std::jthread first([&] { timeToFail([&] { speech.voices({}); }); });
        std::this_thread::sleep_for(50ms);
        const auto second = [&](std::stop_token stop) { speech.voices(stop); };
        EXPECT_LT(timeToCancel(second), 200ms) << "though the first one goes on";
    }

    world.service.process().resume();
    EXPECT_GT(world.secondsSpoken("Hello."), 0.05);
}

TEST_F(SpeechServiceTest, StopsWhileAnotherThreadWaitsInSpeak) {
    speech.speak("Hello.", {}, {});
    ASSERT_TRUE(world.awaitEnd());
    const double begin = world.ear->seconds();
    world.service.process().suspend();
    std::jthread speaker([&] { speech.speak(longText, {}, {}); });
    world.ear->hearMore(0.3);
    EXPECT_LT(timeOf([&] { speech.stopSpeaking(); }), 100ms);

    world.service.process().resume();
    speaker.join();
    world.ear->hearMore(1);
    EXPECT_LT(world.heardSince(begin).length, 0.5);
    EXPECT_FALSE(speech.isSpeaking());
}

TEST_F(SpeechServiceTest, ADeadServiceIsAnErrorAndARestartedOneSpeaks) {
    const auto count = speech.voices({}).size();
    speech.speak(longText, {}, {});
    world.service.kill();
    EXPECT_TRUE(world.awaitEnd(2s)) << "nobody speaks any more";
    EXPECT_LT(timeToFail([&] { speech.speak("Hello.", {}, {}); }), 500ms);
    EXPECT_LT(timeToFail([&] { speech.voices({}); }), 500ms);
    speech.stopSpeaking();

    world.service.restart();
    EXPECT_GT(world.secondsSpoken("Hello."), 0.05);
    EXPECT_EQ(speech.voices({}).size(), count);
}

TEST_F(SpeechServiceTest, AnUtteranceThatNeverEndsIsOverAtItsDeadline) {
    // Without a sound server the service tells of no end.
    PrivateSpeechDispatcher mute("unix:/nonexistent");
    setenv("SPEECHD_ADDRESS", mute.address().c_str(), 1);
    SimulatedClock clock;
    SpeechDispatcher dispatcher(clock);
    dispatcher.speak("12345", {}, {});
    EXPECT_TRUE(dispatcher.isSpeaking());

    clock.advance(10s + 5 * 350ms);
    EXPECT_TRUE(dispatcher.isSpeaking());
    clock.advance(1ms);
    EXPECT_FALSE(dispatcher.isSpeaking());
    mute.kill(); // it would not end kindly
}

TEST_F(SpeechServiceTest, SilenceWhenTheSpeakerIsDestroyed) {
    const double begin = world.ear->seconds();
    speech.speak(longText, {}, {});
    ASSERT_TRUE(world.awaitSound(begin));
    world.speech = makeSpeechDispatcher();

    const double end = world.ear->seconds();
    world.ear->hearMore(1);
    EXPECT_LT(world.heardSince(end).end, 0.5);
}

TEST(SpeechAddress, WithoutAServiceThereIsAClearError) {
    const TemporaryFolder folder;
    for (const std::string& address :
         {"unix_socket:" + folder.file("none"), "unix_socket:" + std::string(200, 'x'),
          std::string("inet_socket:127.0.0.1:1"), std::string("inet_socket:192.0.2.1:6560"),
          std::string("nonsense")}) {
        setenv("SPEECHD_ADDRESS", address.c_str(), 1);
        const auto speech = makeSpeechDispatcher();
        EXPECT_LT(timeToFail([&] { speech->speak("Hello.", {}, {}); }), 500ms) << address;
        EXPECT_LT(timeToFail([&] { speech->voices({}); }), 500ms) << address;
        EXPECT_FALSE(speech->isSpeaking());
        speech->stopSpeaking();
    }
}

TEST(SpeechAddress, TheUsersOwnServiceIsStartedWhenItDoesNotRun) {
    const TemporaryFolder home;
    setenv("HOME", home.path().c_str(), 1);
    setenv("XDG_RUNTIME_DIR", home.path().c_str(), 1);
    unsetenv("SPEECHD_ADDRESS");
    writeFile(home.file(".config/speech-dispatcher/speechd.conf"),
              "AddModule \"espeak-ng\" \"sd_espeak-ng\" \"\"\nDefaultModule espeak-ng\n"
              "Timeout 5\n");
    const auto speech = makeSpeechDispatcher();

    EXPECT_FALSE(speech->voices({}).empty());
    pid_t service = 0;
    std::ifstream(home.file("speech-dispatcher/pid/speech-dispatcher.pid")) >> service;
    ASSERT_GT(service, 1);
    EXPECT_EQ(kill(service, SIGTERM), 0);
}

} // namespace tavik
