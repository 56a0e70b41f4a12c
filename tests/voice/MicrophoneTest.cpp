#include "tests/voice/VoiceWorld.h"

using namespace std::chrono_literals;
using testing::Contains;
using testing::ElementsAre;

namespace tavik {

using Kind = TavikPhase::Kind;

TEST_F(VoiceLoopTest, TakesTheSavedMicrophone) {
    defaults.set("micDevice", "Headset");
    ASSERT_TRUE(starts());
    EXPECT_EQ(audio.openedDevice(), "mic.two");
    EXPECT_TRUE(logged("[mic] engine running (input Headset, output Speaker)"));
}

TEST_F(VoiceLoopTest, FallsBackWhenTheSavedMicrophoneIsGone) {
    defaults.set("micDevice", "Lost one");
    ASSERT_TRUE(starts());
    EXPECT_EQ(audio.openedDevice(), "mic.one");
    EXPECT_THAT(
        notices,
        ElementsAre("Saved mic \"Lost one\" isn't connected — using the system default input."));
    EXPECT_TRUE(logged("[mic] ⚠ saved device \"Lost one\" not found — using system default"));
}

TEST_F(VoiceLoopTest, WaitsForTheServerToChooseAnInput) {
    const auto comesAt = clock.now() + 1500ms;
    audio.defaultID = 0;
    audio.onDefaultAsked = [&] {
        if (clock.now() >= comesAt)
            audio.defaultID = 2;
    };
    ASSERT_TRUE(starts());
    EXPECT_EQ(audio.openedDevice(), "mic.two");
}

TEST_F(VoiceLoopTest, SaysWhichMicrophoneCannotBeUsed) {
    struct Case {
        std::function<void()> arrange;
        std::string message;
    };
    const std::vector<Case> cases = {
        {[&] {
             defaults.set("micDevice", "Headset");
             audio.confirmsDefault = false;
         },
         "Couldn't switch the mic to \"Headset\" — the OS never confirmed it. Pick another input "
         "in "
         "Settings."},
        {[&] {
             defaults.remove("micDevice");
             audio.devices[0].format = {0, 1};
         },
         "The selected microphone isn't providing audio (invalid format). Pick another input in "
         "Settings."},
        {[&] { audio.defaultID = 0; }, "Microphone start failed: no microphone is connected"},
        {[&] { audio.isDown = true; }, "Microphone start failed: the sound server does not answer"},
    };
    for (const Case& each : cases) {
        each.arrange();
        start();
        ASSERT_TRUE(reaches(Kind::error));
        EXPECT_EQ(phases().back(), "error: " + each.message);
        EXPECT_TRUE(eventually([&] { return !loop->isRunning(); }));
        EXPECT_EQ(audio.opens(), 0);
    }
}

TEST_F(VoiceLoopTest, KeepsACaptureOverALostMicrophone) {
    listeners.commands = {"what is the time"};
    brain->will("It is nine.");
    ASSERT_TRUE(starts());
    loop->triggerSession();
    ASSERT_TRUE(reaches(Kind::listening));
    say(5s);
    audio.defaultID = 2;
    audio.endCapture("Entity killed");
    ASSERT_TRUE(eventually([&] { return logged("[mic] rebound — session preserved"); }));
    EXPECT_EQ(audio.openedDevice(), "mic.two");
    ASSERT_TRUE(eventually([&] { return speech.spoken().size() == 1; }));
    EXPECT_GT(listeners.lastCommandSeconds, 3);
}

TEST_F(VoiceLoopTest, RebuildsOnceForABurstOfRouteChangesAndNotForNothing) {
    ASSERT_TRUE(starts());
    for (int change = 0; change < 10; ++change)
        audio.changeRoute(); // says that something changed, but nothing of ours did
    audio.defaultID = 2;
    audio.changeRoute();
    ASSERT_TRUE(eventually([&] { return audio.opens() == 2; }));
    const auto settled = clock.now();
    audio.changeRoute();
    ASSERT_TRUE(eventually([&] { return clock.now() > settled + 5s; }));
    EXPECT_EQ(audio.opens(), 2);
}

TEST_F(VoiceLoopTest, NoticesARouteChangeWhileTheMicrophoneIsBeingOpened) {
    audio.onOpening = [&] {
        if (audio.defaultID.exchange(2) == 1)
            audio.changeRoute();
    };
    ASSERT_TRUE(starts());
    EXPECT_TRUE(eventually([&] { return audio.openedDevice() == "mic.two"; }));
}

TEST_F(VoiceLoopTest, GivesUpASilentDeviceAfterThreeRebuilds) {
    microphoneIsDead = true;
    start();
    ASSERT_TRUE(reaches(Kind::error));
    EXPECT_EQ(phases().back(),
              "error: The microphone isn't delivering any audio. Try another input "
              "device in Settings.");
    EXPECT_EQ(audio.opens(), 4);
    EXPECT_TRUE(
        logged("[mic] no audio after 5s (silent retry 3/3) — rebuilding the audio front-end"));
    EXPECT_TRUE(eventually([&] { return !loop->isRunning(); }));
    microphoneIsDead = false;
    restart();
    EXPECT_TRUE(reaches(Kind::idle));
}

TEST_F(VoiceLoopTest, StopsWhenTheServerDoesNotComeBack) {
    ASSERT_TRUE(starts());
    audio.isDown = true;
    audio.endCapture("Connection terminated");
    ASSERT_TRUE(reaches(Kind::error));
    EXPECT_TRUE(logged("[mic] ⚠ rebind failed — stopping the loop (error already reported)"));
    EXPECT_TRUE(eventually([&] { return !loop->isRunning(); }));
    audio.isDown = false;
    restart();
    EXPECT_TRUE(reaches(Kind::idle));
}

} // namespace tavik
