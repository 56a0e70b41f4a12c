#include "platform/audio/Resampler.h"
#include "platform/recognition/Transcriber.h"
#include "tests/platform/recognition/SpokenSamples.h"
#include "voice/WakeVerification.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <gtest/gtest.h>
#include <numeric>

namespace tavik {
namespace {

constexpr std::size_t windowSamples = 40000;
constexpr std::uint32_t rate = 16000;
constexpr std::array allVoices = {"flite:slt",         "flite:rms",       "flite:awb",
                                  "espeak-ng:en-us",   "espeak-ng:en-gb", "espeak-ng:en-us+f3",
                                  "espeak-ng:en-us+m3"};

// The end of `samples` with `trailing` samples of silence after it, filled up with a whisper of
// noise.
std::vector<float> window(const std::vector<float>& samples, std::size_t trailing) {
    std::vector<float> result = noise(windowSamples, 0.0003F);
    const std::size_t count = std::min(samples.size(), windowSamples - trailing);
    const std::size_t start = windowSamples - trailing - count;
    for (std::size_t index = 0; index < count; ++index)
        result[start + index] += 0.5F * samples[samples.size() - count + index];
    return result;
}

class WakePhraseTest : public testing::Test {
protected:
    bool isHeard(const std::vector<float>& samples) {
        return verifyWakePhrase(*transcriber, samples, {});
    }

    std::unique_ptr<Transcriber> transcriber = openEmbeddedTranscriber(Vocabulary::wakePhrase);
};

TEST_F(WakePhraseTest, IsHeardFromManyVoicesAtAnyPlace) {
    int heard = 0;
    int said = 0;
    for (const char* voice : allVoices) {
        const auto samples = trimmed(spoken("hey vessa", voice));
        for (const std::size_t trailing : {800U, 4800U, 9600U}) {
            const bool isRecorded = std::string_view(voice).starts_with("flite");
            const bool isThis = isHeard(window(samples, trailing));
            heard += isThis;
            ++said;
            EXPECT_TRUE(isThis || !isRecorded) << voice;
        }
    }
    EXPECT_GE(heard, said - 2);
}

// Voices raised or lowered as far as between a child and a large man. Heard at their own pace
// alone, six of the fourteen are understood.
TEST_F(WakePhraseTest, IsHeardFromPeopleOfAnySize) {
    int heard = 0;
    int said = 0;
    for (const char* voice : allVoices)
        for (const std::uint32_t percent : {70U, 130U}) {
            Resampler resampler({rate, 1}, rate * percent / 100);
            const auto phrase = trimmed(spoken("hey vessa", voice));
            const auto played = resampler.process(phrase);
            heard += isHeard(window({played.begin(), played.end()}, 4800));
            ++said;
        }
    EXPECT_GE(heard, said - 3);
}

// Noise of up to the loudness of the voice. Without the cleaner a third of these are heard, with it
// more than half.
TEST_F(WakePhraseTest, IsHeardInNoise) {
    int heard = 0;
    int said = 0;
    for (const char* voice : allVoices) {
        const auto phrase = window(trimmed(spoken("hey vessa", voice)), 4800);
        for (const float level : {0.04F, 0.06F, 0.08F})
            for (const unsigned seed : {7U, 8U}) {
                auto noisy = noise(windowSamples, level, seed);
                std::ranges::transform(noisy, phrase, noisy.begin(), std::plus());
                heard += isHeard(noisy);
                ++said;
            }
    }
    EXPECT_GE(heard, said / 2);
}

// The words of somebody much softer are not counted with the speaker's. When they are, eight of the
// fourteen are heard.
TEST_F(WakePhraseTest, IsHeardWhileOthersTalkBehind) {
    int heard = 0;
    int said = 0;
    for (const char* other : {"flite:kal", "espeak-ng:en-us+f1"}) {
        const auto talk = trimmed(spoken("and back again we had some tea with all of them", other));
        for (const char* voice : allVoices) {
            auto both = window(trimmed(spoken("hey vessa", voice)), 4800);
            for (std::size_t index = 0; index < both.size(); ++index)
                both[index] += 0.1F * talk[index % talk.size()];
            heard += isHeard(both);
            ++said;
        }
    }
    EXPECT_GE(heard, said - 3);
}

// What was loud before the phrase does not make its voice a softer one behind. A slam so loud
// drowns some of them all the same; all of them if it is what the phrase is compared with.
TEST_F(WakePhraseTest, IsHeardAfterTheSlamOfADoor) {
    constexpr std::size_t begin = 8000;
    constexpr std::size_t dullness = 8;
    const auto hiss = noise(windowSamples, 0.25F);
    std::vector<float> slam(windowSamples);
    for (std::size_t index = begin; index < slam.size(); ++index)
        slam[index] = std::accumulate(&hiss[index - dullness], &hiss[index], 0.0F) *
                      std::exp(-static_cast<float>(index - begin) / 1300);
    int heard = 0;
    for (const char* voice : allVoices) {
        auto both = window(trimmed(spoken("hey vessa", voice)), 800);
        std::ranges::transform(slam, both, both.begin(), std::plus());
        heard += isHeard(both);
    }
    EXPECT_GE(heard, 2);
}

TEST_F(WakePhraseTest, IsNotHeardInOtherSpeech) {
    const struct {
        const char* voice;
        const char* sentence;
    } cases[] = {
        {"flite:slt", "hey there"},
        {"flite:rms", "hey jessica"},
        {"flite:awb", "what a message"},
        {"flite:slt", "hey everybody"},
        {"espeak-ng:en-us", "yes sir"},
        {"flite:slt", "so i was telling vessa about the thing we saw"},
        {"flite:rms", "and then vessa said that we should go there now"},
        {"flite:awb", "we drove all the way to the coast and back again"},
        {"espeak-ng:en-us", "turn on the radio please and make it louder"},
    };
    for (const auto& [voice, sentence] : cases) {
        EXPECT_FALSE(isHeard(window(trimmed(spoken(sentence, voice)), 800)))
            << voice << " said " << sentence;
    }
}

TEST_F(WakePhraseTest, IsNotHeardInSilenceOrNoise) {
    for (const std::size_t samples : {std::size_t{0}, windowSamples}) {
        const auto utterance = transcriber->begin({});
        utterance->feed(std::vector<float>(samples));
        EXPECT_EQ(utterance->finish({}), "");
    }
    for (const float level : {0.001F, 0.01F, 0.1F})
        EXPECT_FALSE(isHeard(noise(windowSamples, level)));
}

} // namespace
} // namespace tavik
