#include "tools/demo/Findings.h"

#include "tools/demo/Report.h"

#include <cmath>
#include <gmock/gmock.h>

namespace tavik::demo {
namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;

constexpr std::uint32_t rate = 8000;

// A tone from `begin` to `end` in a recording of ten seconds that began at time zero.
Recording toneBetween(double begin, double end) {
    Recording recording;
    recording.sound = {rate, std::vector<float>(10 * rate)};
    const auto number = [](double seconds) { return static_cast<std::size_t>(seconds * rate); };
    for (std::size_t i = number(begin); i < number(end); ++i)
        recording.sound.samples[i] = 0.3F * std::sin(0.7F * static_cast<float>(i));
    for (std::size_t end_ = 160; end_ <= recording.sound.samples.size(); end_ += 160)
        recording.arrived(end_, after({}, static_cast<double>(end_) / rate));
    return recording;
}

Findings spokenFromTwoToFour() {
    Findings findings;
    findings.microphone = toneBetween(2, 4);
    findings.utterance.sound = toneBetween(0.5, 2.5).sound;
    findings.utterance.phraseEnd = 0.6;
    findings.utterance.commandBegin = 1.3;
    return findings;
}

TEST(Findings, PlaceTheWordsWhereTheMicrophoneHeardThem) {
    const auto user = spokenFromTwoToFour().userTimes();
    ASSERT_TRUE(user);
    EXPECT_NEAR(secondsBetween({}, user->begin), 2.0, 0.02);
    EXPECT_NEAR(secondsBetween({}, *user->phraseEnd), 2.6, 0.02);
    EXPECT_NEAR(secondsBetween({}, *user->commandBegin), 3.3, 0.02);
    EXPECT_NEAR(secondsBetween({}, user->end), 4.0, 0.02);
    EXPECT_NEAR(user->stall, 0, 0.02);
}

TEST(Findings, HaveNoTimesOfSilence) {
    Findings findings = spokenFromTwoToFour();
    findings.microphone = toneBetween(0, 0);
    EXPECT_FALSE(findings.userTimes());
    EXPECT_FALSE(Findings{}.userTimes());
}

// A sound before the answer is no answer.
TEST(Findings, HearOnlyWhatIsSaidAfterTheAnswer) {
    Findings findings;
    findings.speaker = toneBetween(3, 5);
    EXPECT_FALSE(findings.saidAloud());
    findings.answered = after({}, 2.5);
    const auto part = findings.saidAloud();
    ASSERT_TRUE(part);
    EXPECT_NEAR(static_cast<double>(part->begin) / rate, 3, 0.02);
    findings.answered = after({}, 6);
    EXPECT_FALSE(findings.saidAloud());
}

TEST(Timeline, TellsWhatEachStageTook) {
    Findings findings = spokenFromTwoToFour();
    findings.log = {{after({}, 2.9), "🔔 wake — listening for command…"},
                    {after({}, 3.1), "[wake-verify] confirmed"},
                    {after({}, 5.5), "[voice] command received: 3 characters, follow-up: false"},
                    {after({}, 6), "[voice] answer received: 5 characters"}};
    findings.speaker = toneBetween(6.25, 7.25);
    findings.answered = after({}, 6);
    const std::string text = timelineOf(findings);
    EXPECT_THAT(text, HasSubstr("0.00 s  user begins to speak\n"));
    EXPECT_THAT(text, testing::ContainsRegex("0.90 s  wakes +0.30 s after the phrase"));
    EXPECT_THAT(text, testing::ContainsRegex("wake phrase confirmed +0.20 s after the wake"));
    EXPECT_THAT(text, testing::ContainsRegex("command understood +1.50 s after the last word"));
    EXPECT_THAT(text, testing::ContainsRegex("answer complete +0.50 s after the command"));
    EXPECT_THAT(text,
                testing::ContainsRegex("first sound of the answer +0.2[456] s after the answer"));
}

TEST(Timeline, NamesTheRejectionAtWhichItEnded) {
    Findings findings = spokenFromTwoToFour();
    findings.log = {{after({}, 2.5), "🔔 wake — listening for command…"},
                    {after({}, 2.8), "🔕 wake rejected"}};
    const std::string text = timelineOf(findings);
    EXPECT_THAT(text, testing::ContainsRegex("wakes +0.10 s before the phrase ends"));
    EXPECT_THAT(text, HasSubstr("0.80 s  🔕 wake rejected\n"));
}

} // namespace
} // namespace tavik::demo
