#include "tests/voice/VoiceWorld.h"

#include <fmt/format.h>

using namespace std::chrono_literals;
using testing::ElementsAreArray;

namespace tavik {

using Kind = TavikPhase::Kind;

// A conversation and all that is to be seen of it, in order: the lines of the log, and among them
// the phases, cues, spoken texts and memory records.
struct Story {
    const char* name;
    std::function<void(VoiceWorld&)> act; // from `idle`, until it is all over
    std::vector<std::string> events;
};

void PrintTo(const Story& story, std::ostream* out) {
    *out << story.name;
}

namespace {

using Events = std::vector<std::string>;

Events operator+(Events first, const Events& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

const Events byHotkey = {"🔔 hotkey — listening for command…", "# phase listening"};
const Events byVoice = {"🔔 wake — listening for command…", "# phase listening"};
const Events confirmed = {"[wake-verify] confirmed"};
const Events listensOn = {"# phase listening", "👂 listening for a follow-up…"};
const Events interrupted = {"# phase listening", "✋ interrupted — listening for the new command",
                            "# sound tavik-Pop 0.35"};
const Events isIdle = {"# phase idle"};
const Events isOver = {"# remembers end", "# phase idle"};
const Events isCancelled = {"✋ conversation cancelled (orb click)"};

Events asks(const std::string& command, bool isFollowUp = false) {
    return {fmt::format("[voice] command received: {} characters, follow-up: {}", command.size(),
                        isFollowUp),
            "# remembers user: " + command};
}

Events thinks() {
    return {"# phase thinking"};
}

Events answers(const std::string& text) {
    return {fmt::format("[voice] answer received: {} characters", text.size()),
            "# remembers assistant: " + text, "# phase speaking", "# speaks " + text};
}

Events fails(const std::string& error, const std::string& sentence) {
    return {"[brain] request failed", "brain error: " + error, "# phase speaking",
            "# speaks " + sentence};
}

const std::string time = "what is the time";
const std::string nine = "It is nine.";
const std::string tale = "Once upon a time there was a very long story that went on and on and on";
const std::string longTale = tale + ", " + tale + ", " + tale;
const std::string overloaded =
    "Gemini is overloaded right now. That's on their side — try again in a moment.";

// Presses the hotkey, says the commands one after another, as soon as they are listened to.
void converses(VoiceWorld& world, std::vector<std::string> commands) {
    world.listeners.commands.assign(commands.begin(), commands.end());
    world.loop->triggerSession();
    for (std::size_t i = 0; i < commands.size(); ++i) {
        ASSERT_TRUE(world.reaches(Kind::listening));
        world.pause(300ms);
        world.say(1s);
    }
}

void asksAndWaitsFor(VoiceWorld& world, Kind phase) {
    converses(world, {time});
    world.listeners.commands.push_back("make it short");
    EXPECT_TRUE(world.reaches(phase));
    world.pass(330ms);
}

void isTold(VoiceWorld& world) {
    EXPECT_TRUE(world.reaches(Kind::idle));
}

const std::vector<Story> stories = {
    {"FollowUps",
     [](VoiceWorld& world) {
         world.brain->will(nine);
         world.brain->will("It is five.");
         world.listeners.commands = {time, "and in tokyo"};
         world.sayWakePhrase();
         EXPECT_TRUE(world.reaches(Kind::listening));
         EXPECT_EQ(world.preparations, 1); // while the user still speaks
         world.pause(500ms);
         world.say(2s);
         EXPECT_TRUE(world.reaches(Kind::listening));
         world.say(1s);
         isTold(world);
     },
     byVoice + confirmed + asks(time) + thinks() + answers(nine) + listensOn +
         asks("and in tokyo", true) + thinks() + answers("It is five.") + listensOn + isOver},
    {"NothingSaidAfterTheHotkey",
     [](VoiceWorld& world) {
         world.loop->triggerSession();
         isTold(world);
     },
     byHotkey + isIdle},
    {"NothingSaidAfterTheWakePhrase",
     [](VoiceWorld& world) {
         world.sayWakePhrase();
         isTold(world);
     },
     byVoice + confirmed +
         Events{"🔕 wake confirmed but nothing was said — treating as a false trigger"} + isIdle},
    {"WakeRejected",
     [](VoiceWorld& world) {
         world.listeners.wakeTranscript = "so I was telling vessa about the thing";
         world.listeners.commands = {time};
         world.sayWakePhrase();
         world.say(1s);
         isTold(world);
     },
     byVoice +
         Events{"[wake-verify] rejected",
                "🔕 wake rejected — audio didn't transcribe to \"Vessa\""} +
         isIdle},
    {"RecogniserBreaks",
     [](VoiceWorld& world) {
         world.listeners.recogniserFails = true;
         world.sayWakePhrase();
         isTold(world);
         world.pass(2s);
         converses(world, {time});
         isTold(world);
     },
     byVoice +
         Events{"[wake-verify] transcriber error: the recogniser broke", "[wake-verify] rejected",
                "🔕 wake rejected — audio didn't transcribe to \"Vessa\""} +
         isIdle + byHotkey + Events{"[stt] transcriber error: the recogniser broke"} + isIdle},
    {"StopPhrase",
     [](VoiceWorld& world) {
         converses(world, {"okay stop it thanks"});
         isTold(world);
     },
     byHotkey + asks("okay stop it thanks") +
         Events{"🛑 stop phrase — ending the conversation", "# sound tavik-Tink 0.3"} + isOver},
    {"PausePhrase",
     [](VoiceWorld& world) {
         converses(world, {"go to sleep"});
         isTold(world);
     },
     byHotkey + asks("go to sleep") +
         Events{"🔇 pause phrase — pausing listening completely", "# sound tavik-Basso 0.3",
                "# pause"} +
         isOver},
    {"StopPhraseAsFollowUp",
     [](VoiceWorld& world) {
         world.brain->will(nine);
         converses(world, {time, "that's all"});
         isTold(world);
     },
     byHotkey + asks(time) + thinks() + answers(nine) + listensOn + asks("that's all", true) +
         Events{"🛑 stop phrase — ending the conversation", "# sound tavik-Tink 0.3"} + isOver},
    {"TheModelEndsTheConversation",
     [](VoiceWorld& world) {
         world.brain->will("Okay, stopping.", "end_conversation");
         converses(world, {time});
         isTold(world);
     },
     byHotkey + asks(time) + thinks() + answers("Okay, stopping.") +
         Events{"🛑 end_conversation — ending the conversation"} + isOver},
    {"TheModelPausesWithoutAWord",
     [](VoiceWorld& world) {
         world.brain->will("", "pause_listening");
         converses(world, {time});
         isTold(world);
     },
     byHotkey + asks(time) + thinks() +
         Events{"[voice] answer received: 0 characters",
                "🔇 pause_listening — pausing listening completely", "# pause"} +
         isOver},
    {"NoKey",
     [](VoiceWorld& world) {
         world.brain.reset();
         converses(world, {time});
         isTold(world);
     },
     byHotkey + asks(time) +
         Events{"# phase speaking", "# speaks No A P I key is set. Add one in Tavik's settings."} +
         isOver},
    {"TheModelFails",
     [](VoiceWorld& world) {
         converses(world, {time});
         EXPECT_TRUE(world.reaches(Kind::listening));
         world.brain->will("Here I am.");
         world.listeners.commands = {"try again"};
         world.say(1s);
         isTold(world);
     },
     byHotkey + asks(time) + thinks() + fails(overloaded, overloaded) + listensOn +
         asks("try again", true) + thinks() + answers("Here I am.") + listensOn + isOver},
    {"TheModelAnswersNothing",
     [](VoiceWorld& world) {
         world.brain->will("");
         converses(world, {time});
         isTold(world);
     },
     byHotkey + asks(time) + thinks() +
         fails("Fake sent back an empty answer. Try again.",
               "Fake sent back an empty answer. Try again.") +
         listensOn + isOver},
    {"TheModelBreaks",
     [](VoiceWorld& world) {
         world.brain->isBroken = true;
         converses(world, {time});
         isTold(world);
     },
     byHotkey + asks(time) + thinks() + fails("broken", "Sorry, something went wrong.") +
         listensOn + isOver},
    {"HotkeyWhileThinking",
     [](VoiceWorld& world) {
         world.brain->thinkingTime = 10s;
         world.brain->will("The end.");
         asksAndWaitsFor(world, Kind::thinking);
         world.brain->thinkingTime = 0s;
         world.loop->triggerSession();
         EXPECT_TRUE(world.reaches(Kind::listening));
         world.pause(500ms);
         world.say(1s);
         isTold(world);
     },
     byHotkey + asks(time) + thinks() + Events{"✋ barge-in — hotkey"} + interrupted +
         asks("make it short", true) + thinks() + answers("The end.") + listensOn + isOver},
    {"HotkeyWhileSpeaking",
     [](VoiceWorld& world) {
         world.brain->will(tale);
         world.brain->will("The end.");
         asksAndWaitsFor(world, Kind::speaking);
         world.loop->triggerSession();
         EXPECT_FALSE(world.speech.isSpeaking());
         EXPECT_TRUE(world.reaches(Kind::listening));
         world.pause(500ms);
         world.say(1s);
         isTold(world);
     },
     byHotkey + asks(time) + thinks() + answers(tale) + Events{"✋ barge-in — hotkey"} +
         interrupted + asks("make it short", true) + thinks() + answers("The end.") + listensOn +
         isOver},
    {"HotkeyWhileListening",
     [](VoiceWorld& world) {
         world.brain->will(nine);
         converses(world, {time});
         world.loop->triggerSession();
         isTold(world);
     },
     byHotkey + Events{"✋ barge-in — hotkey"} + asks(time) + thinks() + answers(nine) + listensOn +
         isOver},
    {"TwoHotkeysAtOnce",
     [](VoiceWorld& world) {
         world.loop->triggerSession();
         world.loop->triggerSession();
         isTold(world);
     },
     byHotkey + isIdle},
    {"WakePhraseWhileThinking",
     [](VoiceWorld& world) {
         world.brain->thinkingTime = 10s;
         asksAndWaitsFor(world, Kind::thinking);
         world.sayWakePhrase();
         isTold(world);
     },
     byHotkey + asks(time) + thinks() + confirmed +
         Events{"✋ barge-in — \"Hey Vessa\" during the answer"} + interrupted + isOver},
    {"WakePhraseWhileSpeaking",
     [](VoiceWorld& world) {
         world.brain->will(tale);
         asksAndWaitsFor(world, Kind::speaking);
         world.sayWakePhrase();
         isTold(world);
     },
     byHotkey + asks(time) + thinks() + answers(tale) + confirmed +
         Events{"✋ barge-in — \"Hey Vessa\" during the answer"} + interrupted + isOver},
    {"TalkOfVessaWhileSpeaking",
     [](VoiceWorld& world) {
         world.brain->will(tale);
         world.listeners.wakeTranscript = "I was telling them about vessa";
         world.listeners.verificationTime = 2s;
         asksAndWaitsFor(world, Kind::speaking);
         world.sayWakePhrase();
         isTold(world);
     },
     byHotkey + asks(time) + thinks() + answers(tale) + listensOn +
         Events{"[wake-verify] rejected"} + isOver},
    {"OwnVoiceSaysThePhrase",
     [](VoiceWorld& world) {
         world.brain->will(tale);
         asksAndWaitsFor(world, Kind::speaking);
         world.loudspeakerSaysWakePhrase();
         world.pause(100ms);
         world.sayWakePhrase(); // its echo
         isTold(world);
     },
     byHotkey + asks(time) + thinks() + answers(tale) +
         Events{"[wake] that was Tavik's own voice — no barge-in"} + listensOn + isOver},
    {"UserSaysThePhraseAfterTheOwnVoice",
     [](VoiceWorld& world) {
         world.brain->will(longTale);
         asksAndWaitsFor(world, Kind::speaking);
         world.loudspeakerSaysWakePhrase();
         world.pass(2500ms);
         world.sayWakePhrase();
         isTold(world);
     },
     byHotkey + asks(time) + thinks() + answers(longTale) + confirmed +
         Events{"✋ barge-in — \"Hey Vessa\" during the answer"} + interrupted + isOver},
    {"WakeIsSwitchedOff",
     [](VoiceWorld& world) {
         world.defaults.set("wakeEnabled", false);
         world.sayWakePhrase();
         world.pass(5s);
         world.brain->will(tale);
         asksAndWaitsFor(world, Kind::speaking);
         world.sayWakePhrase();
         isTold(world);
     },
     byHotkey + asks(time) + thinks() + answers(tale) + listensOn + isOver},
    {"OrbWhileListening",
     [](VoiceWorld& world) {
         world.loop->cancelSession(); // does nothing yet
         converses(world, {time});
         world.loop->cancelSession();
         isTold(world);
     },
     byHotkey + isCancelled + isIdle},
    {"OrbWhileVerifying",
     [](VoiceWorld& world) {
         world.listeners.commands = {time};
         world.listeners.verificationTime = 10s;
         world.sayWakePhrase();
         world.say(1s);
         world.pass(8s);
         world.loop->cancelSession();
         isTold(world);
     },
     byVoice + isCancelled + isIdle},
    {"OrbWhileThinking",
     [](VoiceWorld& world) {
         world.brain->thinkingTime = 10s;
         asksAndWaitsFor(world, Kind::thinking);
         world.loop->cancelSession();
         isTold(world);
     },
     byHotkey + asks(time) + thinks() + isCancelled + isOver},
    {"OrbWhileSpeaking",
     [](VoiceWorld& world) {
         world.brain->will(tale);
         asksAndWaitsFor(world, Kind::speaking);
         world.loop->cancelSession();
         EXPECT_FALSE(world.speech.isSpeaking());
         isTold(world);
     },
     byHotkey + asks(time) + thinks() + answers(tale) + isCancelled + isOver},
    {"OrbWhileListeningOn",
     [](VoiceWorld& world) {
         world.brain->will(nine);
         converses(world, {time});
         EXPECT_TRUE(world.reaches(Kind::listening));
         world.loop->cancelSession();
         isTold(world);
     },
     byHotkey + asks(time) + thinks() + answers(nine) + listensOn + isCancelled + isOver},
    {"HotkeyAndOrbAtOnce",
     [](VoiceWorld& world) {
         world.brain->will(tale);
         asksAndWaitsFor(world, Kind::speaking);
         world.loop->triggerSession();
         world.loop->cancelSession();
         isTold(world);
     },
     byHotkey + asks(time) + thinks() + answers(tale) + Events{"✋ barge-in — hotkey"} +
         isCancelled + isOver},
    {"NoSpeechService",
     [](VoiceWorld& world) {
         world.brain->will(nine);
         world.speech.isMissing = true;
         converses(world, {time});
         isTold(world);
     },
     byHotkey + asks(time) + thinks() +
         Events{"[voice] answer received: 11 characters", "# remembers assistant: It is nine.",
                "# phase speaking", "[voice] ⚠ couldn't speak: no speech service answers"} +
         listensOn + isOver},
    {"StoppedWhileSpeaking",
     [](VoiceWorld& world) {
         world.brain->will(tale);
         asksAndWaitsFor(world, Kind::speaking);
         world.loop->stop();
         EXPECT_FALSE(world.speech.isSpeaking());
     },
     byHotkey + asks(time) + thinks() + answers(tale) + Events{"# remembers end", "# phase off"}},
};

} // namespace

class ConversationStory : public VoiceLoopTest, public testing::WithParamInterface<Story> {};

TEST_P(ConversationStory, IsToldAsItHappens) {
    ASSERT_TRUE(starts());
    const std::size_t before = story().size();
    GetParam().act(*this);
    auto events = story();
    events.erase(events.begin(), events.begin() + static_cast<std::ptrdiff_t>(before));
    EXPECT_THAT(events, ElementsAreArray(GetParam().events));
}

INSTANTIATE_TEST_SUITE_P(All, ConversationStory, testing::ValuesIn(stories),
                         [](const auto& each) { return std::string(each.param.name); });

TEST_F(VoiceLoopTest, TellsWhatItStartsWith) {
    ASSERT_TRUE(starts());
    const std::string ready = "Tavik ready. Voice: Emma. Brain: ";
    EXPECT_THAT(story(),
                testing::ElementsAre("# phase preparing", ready + "fake/model. Say \"Hey Vessa\".",
                                     "# phase idle"));
    brain.reset();
    ASSERT_TRUE(starts());
    EXPECT_TRUE(logged(ready + "NO KEY — add one in Settings. Say \"Hey Vessa\"."));
}

TEST_F(VoiceLoopTest, SaysWhatCannotBePrepared) {
    listeners.recogniserIsMissing = true;
    start();
    ASSERT_TRUE(reaches(Kind::error));
    EXPECT_EQ(phases().back(),
              "error: Speech recognition couldn't be prepared. Check your internet "
              "connection, then choose Retry in the Tavik menu.");
    EXPECT_TRUE(eventually([&] { return !loop->isRunning(); }));

    listeners.recogniserIsMissing = false;
    listeners.modelIsMissing = true;
    start();
    ASSERT_TRUE(reaches(Kind::error));
    EXPECT_EQ(phases().back(),
              "error: Wake model missing from the app bundle — rebuild Tavik.app.");
    loop->triggerSession(); // which still works
    EXPECT_TRUE(reaches(Kind::listening));
}

TEST_F(VoiceLoopTest, StopsInTheMiddleOfAnythingAndStartsAgain) {
    brain->thinkingTime = 10s;
    ASSERT_TRUE(starts());
    asksAndWaitsFor(*this, Kind::thinking);
    const auto asked = std::chrono::steady_clock::now();
    loop->stop();
    EXPECT_LT(std::chrono::steady_clock::now() - asked, 50ms);
    EXPECT_EQ(phases().back(), "off");
    loop->triggerSession(); // nobody listens
    restart();
    ASSERT_TRUE(reaches(Kind::idle));
    pass(10s);
    EXPECT_EQ(phases().back(), "idle");
}

// How long a conversation takes.
class ConversationTiming : public VoiceLoopTest {
public:
    // What is understood of an utterance that begins `onset` after the listening did.
    bool isHeardAfter(Clock::Duration onset) {
        listeners.commands = {"go to sleep"};
        const int before = pauseRequests;
        loop->triggerSession();
        EXPECT_TRUE(reaches(Kind::listening));
        pass(onset);
        say(1s);
        EXPECT_TRUE(reaches(Kind::idle));
        pass(5s);
        return pauseRequests > before;
    }
};

TEST_F(ConversationTiming, ACommandHasToBeginWithinSixSeconds) {
    ASSERT_TRUE(starts());
    EXPECT_TRUE(isHeardAfter(5800ms));
    EXPECT_FALSE(isHeardAfter(6s));
}

TEST_F(ConversationTiming, APauseOfTwelveTenthsEndsACommand) {
    listeners.commands = {"go to sleep", ""};
    ASSERT_TRUE(starts());
    loop->triggerSession();
    ASSERT_TRUE(reaches(Kind::listening));
    say(1s);
    pause(1150ms);
    say(1s);
    pause(1200ms);
    say(1s);
    ASSERT_TRUE(reaches(Kind::idle));
    EXPECT_NEAR(listeners.lastCommandSeconds, 1 + 1.15 + 1 + 1.2, 0.1);
}

TEST_F(ConversationTiming, ACommandIsCutAfterTwoMinutes) {
    listeners.commands = {"go to sleep"};
    ASSERT_TRUE(starts());
    loop->triggerSession();
    ASSERT_TRUE(reaches(Kind::listening));
    say(3min);
    ASSERT_TRUE(reaches(Kind::idle));
    EXPECT_NEAR(listeners.lastCommandSeconds, 120, 0.2);
}

TEST_F(ConversationTiming, AnInterruptedAnswerIsListenedAfterAtOnce) {
    for (const auto moment : {10ms, 140ms, 730ms}) { // just begun, and well under way
        brain->will(tale);
        ASSERT_TRUE(starts());
        converses(*this, {time});
        ASSERT_TRUE(reaches(Kind::speaking));
        pass(moment);
        const auto pressed = clock.now();
        loop->triggerSession();
        ASSERT_TRUE(reaches(Kind::listening));
        EXPECT_LE(clock.now() - pressed, 20ms);
    }
}

TEST_F(ConversationTiming, OnePhraseWakesOnce) {
    ASSERT_TRUE(starts());
    sayWakePhrase();
    ASSERT_TRUE(reaches(Kind::listening));
    ASSERT_TRUE(reaches(Kind::idle));
    sayWakePhrase(); // while the detector is muted
    pass(1150ms);
    EXPECT_EQ(phases().back(), "idle");
    pass(300ms); // it is still in the ring then
    EXPECT_EQ(phases().back(), "listening");
}

TEST_F(ConversationTiming, WakesAtTheThresholdItselfAndNotInNearSilence) {
    defaults.set("wakeThreshold", 0.75);
    listeners.probability = 0.7499F;
    ASSERT_TRUE(starts());
    pass(2s);
    EXPECT_EQ(listeners.modelLooks, 0);
    sayWakePhrase();
    pass(2s);
    EXPECT_EQ(phases().back(), "idle");
    EXPECT_GT(listeners.modelLooks, 3);
    listeners.probability = 0.75F;
    sayWakePhrase();
    EXPECT_TRUE(reaches(Kind::listening));
}

TEST_F(VoiceLoopTest, AnAnnouncementDoesNotWake) {
    ASSERT_TRUE(starts());
    {
        const Floor::Lent announcement(Floor::shared(), {});
        sayWakePhrase();
        pass(3s);
    }
    pass(2s);
    EXPECT_FALSE(logged("🔔 wake"));
    sayWakePhrase();
    EXPECT_TRUE(reaches(Kind::listening));
    EXPECT_FALSE(Floor::shared().isLent());
}

TEST_F(VoiceLoopTest, TheModelSeesTheWholeConversation) {
    brain->will(nine);
    brain->will("It is five.");
    ASSERT_TRUE(starts());
    converses(*this, {time, "and in tokyo"});
    ASSERT_TRUE(reaches(Kind::idle));
    EXPECT_EQ(brain->lastTranscript.size(), 3U);
    EXPECT_THAT(remembered(),
                testing::ElementsAre("user: " + time, "assistant: " + nine, "user: and in tokyo",
                                     "assistant: It is five.", "end"));
}

} // namespace tavik
