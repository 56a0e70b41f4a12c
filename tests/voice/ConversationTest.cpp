#include "tests/voice/VoiceWorld.h"

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

namespace tavik {

using Kind = TavikPhase::Kind;

TEST_F(VoiceWorld, WakesAnswersListensOnAndGoesBackToWaiting) {
    commands = {"what is the time", "and in tokyo"};
    brain->replies = {"It is nine.", "It is five in the afternoon."};
    ASSERT_TRUE(starts());
    sayWakePhrase();
    ASSERT_TRUE(reaches(Kind::listening));
    EXPECT_EQ(preparations, 1); // while the user still speaks
    pause(500ms);
    say(2s);
    ASSERT_TRUE(eventually([&] { return logged("👂 listening for a follow-up…"); }));
    say(1s);
    ASSERT_TRUE(eventually([&] { return speech.spoken().size() == 2; }));
    ASSERT_TRUE(reaches(Kind::idle));

    EXPECT_THAT(speech.spoken(), ElementsAre("It is nine.", "It is five in the afternoon."));
    EXPECT_THAT(phases(), ElementsAre("preparing", "idle", "listening", "thinking", "speaking",
                                      "listening", "thinking", "speaking", "listening", "idle"));
    EXPECT_THAT(remembered(), ElementsAre("user: what is the time", "assistant: It is nine.",
                                          "user: and in tokyo",
                                          "assistant: It is five in the afternoon.", "end"));
    EXPECT_TRUE(logged("[wake-verify] confirmed"));
    EXPECT_TRUE(logged("[voice] command received: 16 characters, follow-up: false"));
    EXPECT_TRUE(logged("[voice] command received: 12 characters, follow-up: true"));
    EXPECT_FALSE(logged("what is the time"));
}

TEST_F(VoiceWorld, DropsACommandWhoseWakeIsRejected) {
    commands = {"so that was it"};
    wakeTranscript = "so I was telling vessa about the thing";
    ASSERT_TRUE(starts());
    sayWakePhrase();
    say(1s);
    ASSERT_TRUE(eventually([&] { return logged("🔕 wake rejected"); }));
    ASSERT_TRUE(reaches(Kind::idle));
    EXPECT_TRUE(logged("🔕 wake rejected — audio didn't transcribe to \"Vessa\""));
    EXPECT_THAT(remembered(), IsEmpty());
    EXPECT_EQ(brain->calls, 0);
}

TEST_F(VoiceWorld, EndsQuietlyWhenNothingFollowsTheWakePhrase) {
    ASSERT_TRUE(starts());
    sayWakePhrase();
    ASSERT_TRUE(reaches(Kind::listening));
    ASSERT_TRUE(reaches(Kind::idle));
    EXPECT_TRUE(logged("🔕 wake confirmed but nothing was said — treating as a false trigger"));
    EXPECT_THAT(speech.spoken(), IsEmpty());
}

TEST_F(VoiceWorld, ObeysStopAndPausePhrasesWithoutAModel) {
    commands = {"okay stop it thanks", "go to sleep"};
    ASSERT_TRUE(starts());
    command();
    ASSERT_TRUE(eventually([&] { return logged("🛑 stop phrase — ending the conversation"); }));
    ASSERT_TRUE(reaches(Kind::idle));
    loop->triggerSession();
    ASSERT_TRUE(reaches(Kind::listening));
    say(1s);
    ASSERT_TRUE(eventually([&] { return pauseRequests == 1; }));
    EXPECT_TRUE(logged("🔇 pause phrase — pausing listening completely"));
    EXPECT_EQ(brain->calls, 0);
}

TEST_F(VoiceWorld, SaysThatThereIsNoKey) {
    commands = {"what is the time"};
    brain.reset();
    ASSERT_TRUE(starts());
    EXPECT_TRUE(logged(
        "Tavik ready. Voice: Emma. Brain: NO KEY — add one in Settings. Say \"Hey Vessa\"."));
    command();
    ASSERT_TRUE(reaches(Kind::speaking));
    ASSERT_TRUE(reaches(Kind::idle));
    EXPECT_THAT(speech.spoken(), ElementsAre("No A P I key is set. Add one in Tavik's settings."));
}

TEST_F(VoiceWorld, SpeaksAFailureAndListensOn) {
    commands = {"what is the time", "try again"};
    ASSERT_TRUE(starts());
    command();
    ASSERT_TRUE(eventually([&] { return logged("👂 listening for a follow-up…"); }));
    EXPECT_TRUE(logged("[brain] request failed"));
    brain->replies = {"Here I am."};
    say(1s);
    ASSERT_TRUE(eventually([&] { return speech.spoken().size() == 2; }));
    EXPECT_THAT(speech.spoken(),
                ElementsAre("Gemini is overloaded right now. That's on their side — try again in a "
                            "moment.",
                            "Here I am."));
}

TEST_F(VoiceWorld, TheHotkeyInterruptsAnAnswerAndANewCommandFollows) {
    commands = {"tell me a story", "make it short"};
    brain->replies = {
        "Once upon a time there was a very long story that went on and on and on and on.",
        "The end."};
    ASSERT_TRUE(starts());
    command();
    ASSERT_TRUE(reaches(Kind::speaking));
    loop->triggerSession();
    EXPECT_FALSE(speech.isSpeaking());
    ASSERT_TRUE(
        eventually([&] { return logged("✋ interrupted — listening for the new command"); }));
    say(1s);
    ASSERT_TRUE(eventually([&] { return speech.spoken().size() == 2; }));
    EXPECT_EQ(speech.spoken().back(), "The end.");
    EXPECT_TRUE(logged("✋ barge-in — hotkey"));
}

TEST_F(VoiceWorld, AClickOnTheOrbEndsTheThinkingAtOnce) {
    commands = {"tell me a story"};
    brain->isSlow = true;
    ASSERT_TRUE(starts());
    command();
    ASSERT_TRUE(eventually([&] { return brain->calls == 1; }));
    const auto clicked = std::chrono::steady_clock::now();
    loop->cancelSession();
    ASSERT_TRUE(reaches(Kind::idle));
    EXPECT_LT(std::chrono::steady_clock::now() - clicked, 2s);
    EXPECT_TRUE(logged("✋ conversation cancelled (orb click)"));
    EXPECT_THAT(speech.spoken(), IsEmpty());
}

TEST_F(VoiceWorld, GoesOnWithoutASpeechService) {
    commands = {"what is the time"};
    brain->replies = {"It is nine."};
    speech.isMissing = true;
    ASSERT_TRUE(starts());
    command();
    ASSERT_TRUE(reaches(Kind::speaking));
    ASSERT_TRUE(reaches(Kind::idle));
    EXPECT_TRUE(logged("[voice] ⚠ couldn't speak: no speech service answers"));
}

TEST_F(VoiceWorld, StopsInTheMiddleOfAnything) {
    commands = {"tell me a story"};
    brain->isSlow = true;
    ASSERT_TRUE(starts());
    command();
    ASSERT_TRUE(eventually([&] { return brain->calls == 1; }));
    const auto asked = std::chrono::steady_clock::now();
    loop->stop();
    EXPECT_LT(std::chrono::steady_clock::now() - asked, 50ms);
    EXPECT_EQ(phases().back(), "off");
}

} // namespace tavik
