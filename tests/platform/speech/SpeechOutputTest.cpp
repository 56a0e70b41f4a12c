#include "tests/platform/speech/SpeechWorld.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

namespace tavik {

namespace {

using namespace std::chrono_literals;

// Some five seconds.
const std::string longText =
    "One two three four five six seven eight nine ten eleven twelve thirteen fourteen fifteen "
    "sixteen seventeen eighteen nineteen twenty twenty-one twenty-two twenty-three twenty-four.";

std::optional<Voice> voiceNamed(SpeechOutput& speech, const std::string& name) {
    for (const Voice& voice : speech.voices({}))
        if (voice.name == name)
            return voice;
    return std::nullopt;
}

} // namespace

// What the speech service does with texts and voices; one service for all of it.
class SpeechOutputTest : public testing::Test {
protected:
    static void SetUpTestSuite() { shared = std::make_unique<SpeechWorld>(); }
    static void TearDownTestSuite() { shared.reset(); }
    static std::unique_ptr<SpeechWorld> shared;

    SpeechWorld& world = *shared;
    SpeechOutput& speech = *world.speech;
};

std::unique_ptr<SpeechWorld> SpeechOutputTest::shared;

TEST_F(SpeechOutputTest, SpeaksAloudAndTellsWhenItIsOver) {
    const double begin = world.ear->seconds();
    speech.speak("One two three four five.", {}, {});
    EXPECT_TRUE(speech.isSpeaking());
    ASSERT_TRUE(world.awaitEnd());
    const double told = world.ear->seconds() - begin;
    world.ear->hearMore(0.5);

    const LoudTime heard = world.heardSince(begin);
    EXPECT_GT(heard.length, 0.3);
    EXPECT_LT(heard.end, told + 0.1) << "it spoke on after it had told its end";
    EXPECT_LT(told, heard.end + 1.5) << "the end was told long after it";
}

TEST_F(SpeechOutputTest, StopBringsSilenceInMidWord) {
    for (int round = 0; round < 2; ++round) {
        const double begin = world.ear->seconds();
        speech.speak(longText, {}, {});
        ASSERT_TRUE(world.awaitSound(begin));
        world.ear->hearMore(0.3);

        const double stop = world.ear->seconds();
        EXPECT_LT(timeOf([&] { speech.stopSpeaking(); }), 50ms);
        EXPECT_FALSE(speech.isSpeaking());
        ASSERT_TRUE(world.ear->hearMore(1));
        const double silence = world.heardSince(stop).end;
        EXPECT_LT(silence, 0.5);
        RecordProperty(fmt::format("secondsToSilence{}", round), fmt::format("{:.3f}", silence));
    }
}

TEST_F(SpeechOutputTest, ANewTextStopsTheOldOne) {
    const double shortOne = world.secondsSpoken("Hello.");
    speech.speak(longText, {}, {});
    const double both = world.secondsSpoken("Hello.");

    EXPECT_LT(both, shortOne + 0.5);
    EXPECT_GT(both, shortOne * 0.7);
}

TEST_F(SpeechOutputTest, OddTextsAreSpokenAndLeaveTheProtocolInStep) {
    struct Case {
        const char* description;
        std::string text;
        double atLeast; // seconds of sound
    };
    const double all = world.secondsSpoken("One two three four five six") * 0.8;
    for (const Case& each : {
             Case{"empty", "", 0},
             {"blank", " \r\n\t ", 0},
             {"a dot", ".", 0},
             {"lines with a dot", "One two three\n.\n...four five six", all},
             {"commands and CR LF", "One two three\r\n.\r\nQUIT four five six", all},
             {"markup", "<speak> one two three <b> & four five six", all},
             {"emoji", "One two three 😀 four five six", all},
             {"only emoji", "😀 🎉 👍🏽", 0},
             {"another language", "Guten Morgen, wie spät ist es? おはよう", all * 0.5},
             {"NUL", std::string("One two three\0four five six", 27), all},
             {"not UTF-8", "One two three \xFF\xC3 four five six", all},
         }) {
        SCOPED_TRACE(each.description);
        EXPECT_GE(world.secondsSpoken(each.text), each.atLeast);
    }
    EXPECT_GT(world.secondsSpoken("Hello."), 0.05);
}

TEST_F(SpeechOutputTest, TakesAVeryLongText) {
    std::string text;
    while (text.size() < 100'000)
        text += "Line after line. ";
    const double begin = world.ear->seconds();
    EXPECT_LT(timeOf([&] { speech.speak(text, {}, {}); }), 2s);
    EXPECT_TRUE(world.awaitSound(begin));
    EXPECT_TRUE(speech.isSpeaking());

    speech.stopSpeaking();
    EXPECT_GT(world.secondsSpoken("Hello."), 0.05);
}

TEST_F(SpeechOutputTest, ListsEveryVoiceWithoutItsVariants) {
    std::vector<Voice> voices;
    EXPECT_LT(timeOf([&] { voices = speech.voices({}); }), 2s);
    EXPECT_LT(timeOf([&] { speech.voices({}); }), 50ms) << "every answer would wait for that";

    EXPECT_GT(voices.size(), 50U);
    EXPECT_LT(voices.size(), 1000U);
    const auto american = voiceNamed(speech, "English (America)").value();
    EXPECT_EQ(american.identifier, "espeak-ng/English (America)");
    EXPECT_EQ(american.language, "en-US");
    EXPECT_EQ(american.quality, VoiceQuality::compact);
}

TEST_F(SpeechOutputTest, SpeaksWithTheChosenVoiceAndWithTheDefaultAgain) {
    const auto finnish = voiceNamed(speech, "Finnish");
    ASSERT_TRUE(finnish);
    const double byDefault = world.secondsSpoken("777");
    const double inFinnish = world.secondsSpoken("777", finnish);

    EXPECT_GT(inFinnish, byDefault * 1.2) << "the number takes longer in Finnish";
    // A busy machine stretches the sound somewhat.
    const double between = (byDefault + inFinnish) / 2;
    EXPECT_LT(world.secondsSpoken("777"), between);
    EXPECT_GT(world.secondsSpoken("777", finnish), between);
}

TEST_F(SpeechOutputTest, AVoicesNameIsTakenToItsEnd) {
    const auto pitchOf = [&](const std::string& name) {
        const double begin = world.ear->seconds();
        world.secondsSpoken("Mama mama mama mama.",
                            Voice{"espeak-ng/" + name, name, "en-US", VoiceQuality::compact});
        return frequencyOf(world.ear->since(begin), world.ear->format().sampleRate);
    };
    const double deep = pitchOf("English (America)");
    const double high = pitchOf("English (America)+Alicia");

    EXPECT_GT(high, deep * 1.2);
}

} // namespace tavik
