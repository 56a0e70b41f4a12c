#include "platform/audio/Resampler.h"
#include "tests/platform/audio/AllocationCount.h"
#include "tests/platform/audio/HeardSound.h"

#include <cmath>
#include <cstdlib>
#include <gtest/gtest.h>
#include <limits>
#include <new>
#include <numbers>

namespace tavik {

namespace {

constexpr double pitch = 440; // Hz
constexpr float amplitude = 0.5F;
constexpr std::uint32_t target = 16000;
const double toneLevel = amplitude / std::numbers::sqrt2;

// A second of a tone in the first channel, silence in the others.
std::vector<float> tone(const AudioFormat& format, double frequency = pitch) {
    std::vector<float> frames(static_cast<std::size_t>(format.sampleRate) * format.channelCount);
    for (std::size_t i = 0; i < format.sampleRate; ++i)
        frames[i * format.channelCount] =
            amplitude * static_cast<float>(std::sin(2 * std::numbers::pi * frequency *
                                                    static_cast<double>(i) / format.sampleRate));
    return frames;
}

std::vector<float> converted(Resampler& resampler, std::span<const float> frames,
                             std::size_t piece) {
    std::vector<float> result;
    for (std::size_t begin = 0; begin < frames.size(); begin += piece) {
        const auto ready =
            resampler.process(frames.subspan(begin, std::min(piece, frames.size() - begin)));
        result.insert(result.end(), ready.begin(), ready.end());
    }
    return result;
}

} // namespace

TEST(Resampler, KeepsPitchAndLevelAndAveragesTheChannels) {
    for (const AudioFormat& format : {AudioFormat{8000, 1},
                                      {16000, 1},
                                      {16000, 2},
                                      {44100, 1},
                                      {44100, 2},
                                      {48000, 6},
                                      {768000, 1},
                                      {11025, 32}}) {
        SCOPED_TRACE(describe(format));
        Resampler resampler(format, target);
        const auto mono = converted(resampler, tone(format), format.channelCount * 1000);

        ASSERT_GT(mono.size(), target * 0.9);
        ASSERT_LE(mono.size(), target);
        const std::span middle = std::span(mono).subspan(target / 4, target / 2);
        EXPECT_NEAR(frequencyOf(middle, target), pitch, 3);
        EXPECT_NEAR(levelOf(middle) * format.channelCount, toneLevel, toneLevel * 0.01);
    }
}

TEST(Resampler, LosesNothingWhenTheRateRisesManyfold) {
    Resampler resampler({8000, 1}, 768000);
    const auto mono = converted(resampler, tone({8000, 1}), 80);

    ASSERT_GT(mono.size(), 768000 * 0.9);
    EXPECT_NEAR(levelOf(std::span(mono).subspan(200000, 400000)), toneLevel, toneLevel * 0.01);
}

TEST(Resampler, SuppressesWhatTheNewRateCannotCarry) {
    Resampler resampler({48000, 1}, target);
    const auto mono = converted(resampler, tone({48000, 1}, 11000), 960);

    EXPECT_LT(levelOf(std::span(mono).subspan(target / 4, target / 2)), toneLevel / 1000);
}

TEST(Resampler, HoldsLittleBack) {
    for (const std::uint32_t rate : {16000U, 44100U, 48000U, 96000U}) {
        Resampler resampler({rate, 1}, target);
        const std::vector<float> piece(rate / 50);
        double held = 0; // seconds
        for (int i = 0; i < 200; ++i) {
            held += 1.0 / 50 - static_cast<double>(resampler.process(piece).size()) / target;
            EXPECT_LT(held, 0.025) << rate;
        }
    }
}

TEST(Resampler, GivesTheSameInPiecesAsInOne) {
    const AudioFormat format{44100, 2};
    Resampler whole(format, target);
    Resampler pieces(format, target);
    const auto frames = tone(format);
    const auto expected = converted(whole, frames, frames.size());
    const auto actual = converted(pieces, frames, 2 * 37);

    ASSERT_GT(actual.size(), target * 0.95);
    for (std::size_t i = 0; i < std::min(expected.size(), actual.size()); ++i)
        ASSERT_NEAR(actual[i], expected[i], 1e-5) << i;
}

TEST(Resampler, ACallWithoutSamplesIsNotTheEndOfTheStream) {
    Resampler resampler({48000, 1}, target);
    EXPECT_TRUE(resampler.process({}).empty());
    const auto mono = converted(resampler, tone({48000, 1}), 960);
    EXPECT_TRUE(resampler.process({}).empty());

    EXPECT_NEAR(levelOf(std::span(mono).subspan(target / 4, target / 2)), toneLevel,
                toneLevel * 0.01);
}

TEST(Resampler, AllocatesNothingInSteadyState) {
    const AudioFormat format{44100, 2};
    Resampler resampler(format, target);
    const auto frames = tone(format);
    const auto piece = std::span<const float>(frames).first(2 * 882);
    resampler.process(piece);

    const int before = allocationsOfThisThread();
    for (int call = 0; call < 100; ++call)
        resampler.process(call % 2 == 0 ? piece : piece.first(piece.size() / 2));
    EXPECT_EQ(allocationsOfThisThread(), before);
}

TEST(Resampler, ForgetsSamplesThatAreNoNumbers) {
    Resampler resampler({48000, 1}, target);
    auto frames = tone({48000, 1});
    for (std::size_t i = 0; i < 480; ++i)
        frames[i] = std::numeric_limits<float>::quiet_NaN();
    const auto mono = converted(resampler, frames, 960);

    EXPECT_NEAR(levelOf(std::span(mono).subspan(target / 4, target / 2)), toneLevel,
                toneLevel * 0.01);
}

TEST(Resampler, RefusesFormatsBeyondReason) {
    for (const AudioFormat& format :
         {AudioFormat{0, 1}, {48000, 0}, {768001, 1}, {48000, 33}, {0xFFFFFFFF, 0xFFFFFFFF}})
        EXPECT_THROW(Resampler(format, target), AudioError) << describe(format);
    EXPECT_THROW(Resampler({48000, 1}, 0), AudioError);
}

} // namespace tavik
