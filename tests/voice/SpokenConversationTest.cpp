#include "tools/demo/LiveVoice.h"
#include "tools/demo/Verdict.h"

#include <filesystem>
#include <fmt/format.h>

using namespace std::chrono_literals;
using std::chrono::system_clock;
using testing::Contains;
using testing::HasSubstr;

namespace tavik::demo {

using Kind = TavikPhase::Kind;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool isSanitized = true;
#else
constexpr bool isSanitized = false;
#endif

// The real thing but for the model: what is said into the microphone is heard, answered and spoken
// aloud, and what the loudspeaker gave is understood by a second recogniser. One loop for all,
// since it takes seconds to start; its recordings are left beside the test.
class SpokenConversation : public testing::Test {
protected:
    static void SetUpTestSuite() {
        if (isSanitized)
            return;
        home = std::make_unique<PrivateHome>(PrivateHome::Network::none);
        live = std::make_unique<LiveVoice>(*home);
        // Its sink plays in long blocks until a recording has gone on for a while.
        live->wait(3s);
    }
    static void TearDownTestSuite() {
        if (isSanitized)
            return;
        const std::filesystem::path folder = TAVIK_RECORDINGS;
        std::filesystem::create_directories(folder);
        live->loop->stop();
        writeSound(folder / "microphone.wav", live->stage.heardByMicrophone().sound);
        writeSound(folder / "speaker.wav", live->stage.saidAloud().sound);
        live.reset();
        home.reset();
    }

    void SetUp() override {
        if (isSanitized)
            GTEST_SKIP() << "Under a sanitizer the recognisers are too slow for speech as it is "
                            "spoken.";
        if (live->phases().size() < 2) {
            ASSERT_TRUE(live->await(Kind::idle, 20s));
        }
        live->wait(1500ms); // the detector is muted after a conversation
    }

    // Begins a conversation and waits until its first answer is being spoken.
    WallTime asks(const std::string& command) {
        EXPECT_TRUE(live->await(Kind::listening, 10s));
        return commands(command);
    }
    // Says it while the loop listens, and waits until the answer is being spoken.
    WallTime commands(const std::string& command) {
        live->wait(300ms);
        live->say(command);
        const auto speaking = live->await(Kind::speaking, 20s);
        EXPECT_TRUE(speaking) << live->log();
        return speaking.value_or(system_clock::now());
    }

    // Waits until the answer is over and checks what was heard of it.
    void hears(const std::string& answer, WallTime begin) {
        const auto end = live->await(Kind::listening, 30s);
        ASSERT_TRUE(end) << live->log();
        const std::string heard = live->heardAloud(begin, *end);
        EXPECT_TRUE(compare(answer, heard).isGood()) << "heard: " << heard;
    }

    static std::unique_ptr<PrivateHome> home;
    static std::unique_ptr<LiveVoice> live;
};

std::unique_ptr<PrivateHome> SpokenConversation::home;
std::unique_ptr<LiveVoice> SpokenConversation::live;

TEST_F(SpokenConversation, TwoFollowUpsAndAStopPhrase) {
    live->say("hey vessa");
    hears("The result of that calculation is 24.", asks("what is twenty one plus three"));
    live->wait(300ms);
    live->say("hello");
    hears("Hello. How can I help?", live->await(Kind::speaking, 20s).value_or(WallTime{}));
    live->wait(300ms);
    live->say("what is twenty one plus three");
    hears("The result of that calculation is 24.",
          live->await(Kind::speaking, 20s).value_or(WallTime{}));
    live->wait(300ms);
    live->say("never mind");
    const auto idle = live->await(Kind::idle, 15s);
    ASSERT_TRUE(idle) << live->log();
    live->wait(500ms);
    EXPECT_TRUE(live->lastSound(*idle - 200ms, *idle + 400ms)) << "no cue was heard";
    EXPECT_THAT(live->log(), HasSubstr("🛑 stop phrase — ending the conversation"));
    EXPECT_EQ(live->remembered().size(), 8U);
    EXPECT_EQ(live->remembered().back(), "end");
}

TEST_F(SpokenConversation, TheHotkeyInterruptsAndAPausePhraseEndsTheListening) {
    live->loop->triggerSession();
    asks("what are the opening hours of the library");
    live->wait(1200ms);
    const auto pressed = system_clock::now();
    live->loop->triggerSession();
    ASSERT_TRUE(live->await(Kind::listening, 5s));
    live->wait(800ms);
    // "Pop" is heard in the first tenths of a second.
    EXPECT_FALSE(live->lastSound(pressed + 500ms, pressed + 800ms)) << "it speaks on";
    live->say("stop listening");
    ASSERT_TRUE(live->await(Kind::idle, 15s)) << live->log();
    EXPECT_EQ(live->pauseRequests, 1);
    EXPECT_THAT(live->log(), HasSubstr("✋ interrupted — listening for the new command"));
}

TEST_F(SpokenConversation, TheWakePhraseInterruptsAndTheOrbEndsIt) {
    live->say("hey vessa");
    asks("what are the opening hours of the library");
    live->wait(1s);
    const auto said = live->say("hey vessa");
    const auto listening = live->await(Kind::listening, 10s);
    ASSERT_TRUE(listening) << live->log();
    EXPECT_LT(*listening - said, 4s);
    commands("what are the opening hours of the library");
    live->wait(1s);
    const auto clicked = system_clock::now();
    live->loop->cancelSession();
    const auto idle = live->await(Kind::idle, 5s);
    ASSERT_TRUE(idle) << live->log();
    EXPECT_LT(*idle - clicked, 1s);
    live->wait(800ms);
    EXPECT_FALSE(live->lastSound(clicked + 500ms, clicked + 800ms)) << "it speaks on";
}

TEST_F(SpokenConversation, ItsOwnVoiceIsNoWakePhrase) {
    const std::string loopback = live->stage.soundServer().loadModule(
        "module-loopback",
        {"source=speaker.monitor", "sink=microphone-feed", "latency_msec=60", "adjust_time=0"});
    live->stage.scriptedModel().replyNext({say("Just say: hey vessa. And once more: hey vessa.")});
    live->loop->triggerSession();
    const auto begin = asks("hello");
    const auto end = live->await(Kind::listening, 30s);
    live->stage.soundServer().pactl({"unload-module", loopback});
    ASSERT_TRUE(end);
    EXPECT_TRUE(live->await(Kind::idle, 20s));
    EXPECT_GT(*end - begin, 2500ms) << "it interrupted itself";
    EXPECT_THAT(live->log(), HasSubstr("[wake] that was Tavik's own voice — no barge-in"));
}

TEST_F(SpokenConversation, AFailureIsSpoken) {
    live->stage.scriptedModel().replyNext({failWith(400, "no such thing")});
    live->loop->triggerSession();
    const auto begin = asks("hello");
    const auto end = live->await(Kind::listening, 30s);
    ASSERT_TRUE(end) << live->log();
    EXPECT_THAT(live->log(), HasSubstr("[brain] request failed"));
    EXPECT_FALSE(live->heardAloud(begin, *end).empty());
    EXPECT_TRUE(live->await(Kind::idle, 20s));
}

} // namespace tavik::demo
