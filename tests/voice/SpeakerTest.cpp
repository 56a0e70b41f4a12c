#include "voice/Speaker.h"
#include "platform/concurrency/Locked.h"
#include "tests/voice/VoiceWorld.h"
#include "voice/VoicePreviewer.h"

using namespace std::chrono_literals;

namespace tavik {

TEST(Speaker, ChoosesTheUsersVoiceOrTheBestEnglishOne) {
    const Voice german{"de", "Anna", "de-DE", VoiceQuality::premium};
    const Voice british{"gb", "Oliver", "en-GB", VoiceQuality::compact};
    const Voice american{"us", "America", "en-US", VoiceQuality::compact};
    const Voice samantha{"sam", "Samantha", "en-US", VoiceQuality::compact};
    const Voice enhanced{"enh", "Better", "en-GB", VoiceQuality::enhanced};
    const Voice premium{"pre", "Best", "en-AU", VoiceQuality::premium};
    struct Case {
        std::string voiceId;
        std::vector<Voice> installed;
        std::string chosen;
    };
    const std::vector<Case> cases = {
        {"gb", {american, british, premium}, "gb"},
        {"deleted", {british, american}, "us"},
        {"", {german, british, enhanced, premium}, "pre"},
        {"", {german, british, enhanced, american}, "enh"},
        {"", {british, american, samantha}, "sam"},
        {"", {german, british}, "none"},
        {"", {}, "none"},
    };
    for (const Case& each : cases) {
        const auto voice = chooseVoice(each.voiceId, each.installed);
        EXPECT_EQ(voice ? voice->identifier : "none", each.chosen);
    }
}

// The settings' side: one voice is heard at a time.
class VoicePreviewerTest : public testing::Test {
protected:
    void SetUp() override { clock.join(); }

    void toggle(const std::string& identifier) {
        previewer->toggle(identifier, {identifier, identifier, "en-US", VoiceQuality::compact});
        if (previewer->playingID())
            clock.awaitThreads(2);
    }
    void runJobs() {
        for (const auto& job : jobs.with([](auto& waiting) { return std::exchange(waiting, {}); }))
            job();
    }

    WorldClock clock{50ms, [] {}};
    FakeSpeech speech{clock};
    Locked<std::vector<std::function<void()>>> jobs; // for the main thread
    int changes = 0;
    std::unique_ptr<VoicePreviewer> previewer = std::make_unique<VoicePreviewer>(
        speech, clock,
        [this](std::function<void()> job) {
            jobs.with([&](auto& waiting) { waiting.push_back(std::move(job)); });
        },
        [this] { ++changes; });
};

TEST_F(VoicePreviewerTest, PlaysOneVoiceAtATimeAndStopsTheSameOne) {
    toggle("one");
    EXPECT_EQ(previewer->playingID(), "one");
    toggle("two");
    EXPECT_EQ(previewer->playingID(), "two");
    EXPECT_THAT(speech.spoken(), testing::SizeIs(2));
    EXPECT_EQ(speech.spoken().back(), "Hi, I'm Tavik. This is how I sound.");
    EXPECT_TRUE(speech.isSpeaking());
    toggle("two");
    EXPECT_FALSE(previewer->playingID());
    EXPECT_FALSE(speech.isSpeaking());
    EXPECT_EQ(changes, 0);
}

TEST_F(VoicePreviewerTest, TellsWhenItIsOver) {
    for (const bool serviceIsMissing : {false, true}) {
        speech.isMissing = serviceIsMissing;
        changes = 0;
        previewer->toggle("one", {"one", "One", "en-US", VoiceQuality::compact});
        const auto giveUp = std::chrono::steady_clock::now() + 5s;
        while (changes == 0 && std::chrono::steady_clock::now() < giveUp) {
            clock.sleepFor(10ms, {});
            runJobs();
        }
        EXPECT_EQ(changes, 1);
        EXPECT_FALSE(previewer->playingID());
    }
}

TEST_F(VoicePreviewerTest, IsSilentWhenItIsGone) {
    toggle("one");
    previewer.reset();
    EXPECT_FALSE(speech.isSpeaking());
    runJobs();
    EXPECT_EQ(changes, 0);
}

} // namespace tavik
