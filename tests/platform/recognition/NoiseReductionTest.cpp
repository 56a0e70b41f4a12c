#include "platform/recognition/NoiseReduction.h"

#include "app/Paths.h"
#include "tests/platform/recognition/SpokenSamples.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <numbers>

namespace tavik {
namespace {

constexpr std::size_t second = 16000;

std::vector<std::int16_t> integers(const std::vector<float>& samples) {
    std::vector<std::int16_t> result;
    for (const float sample : samples)
        result.push_back(static_cast<std::int16_t>(std::lrint(32767 * sample)));
    return result;
}

// In decibels of full scale.
double level(std::span<const std::int16_t> samples) {
    double energy = 1e-3;
    for (const std::int16_t sample : samples)
        energy += static_cast<double>(sample) * sample;
    return 10 * std::log10(energy / static_cast<double>(samples.size()) / (32768.0 * 32768.0));
}

class NoiseReductionTest : public testing::Test {
protected:
    std::vector<std::int16_t> reduced(std::span<const std::int16_t> samples, std::size_t piece) {
        reduction.restart();
        std::vector<std::int16_t> result;
        while (!samples.empty()) {
            const std::size_t count = std::min(piece, samples.size());
            append(result, reduction.add(samples.first(count)));
            samples = samples.subspan(count);
        }
        append(result, reduction.end());
        return result;
    }

    NoiseReduction reduction{resourcePath("NoiseReduction.onnx")};

private:
    static void append(std::vector<std::int16_t>& all, const std::vector<std::int16_t>& more) {
        all.insert(all.end(), more.begin(), more.end());
    }
};

TEST_F(NoiseReductionTest, LeavesTheSpeechAndQuietensWhatIsAroundIt) {
    const auto sentence =
        trimmed(spoken("open the settings and turn the volume down", "flite:slt"));
    std::vector<float> samples(2 * second);
    samples.insert(samples.end(), sentence.begin(), sentence.end());
    samples.resize(samples.size() + 2 * second);
    const auto speech = integers(samples);
    const auto hiss = noise(samples.size(), 0.01F);
    std::ranges::transform(samples, hiss, samples.begin(), std::plus());
    const auto noisy = integers(samples);
    const auto result = reduced(noisy, 1600);
    ASSERT_GE(result.size(), noisy.size());
    const auto middle = [&](std::span<const std::int16_t> all) {
        return all.subspan(2 * second, sentence.size());
    };
    EXPECT_NEAR(level(middle(result)), level(middle(speech)), 3);
    const auto before = [](std::span<const std::int16_t> all) { return all.first(second); };
    const auto after = [&](std::span<const std::int16_t> all) {
        return all.subspan(noisy.size() - second, second);
    };
    EXPECT_LT(level(before(result)), level(before(noisy)) - 25);
    EXPECT_LT(level(after(result)), level(after(noisy)) - 25);
}

TEST_F(NoiseReductionTest, LosesNothingWhateverThePieces) {
    auto samples = integers(noise(4 * second, 0.1F));
    std::fill_n(samples.begin() + second, 4000, std::int16_t{32767});
    for (const std::size_t length : {0U, 1U, 159U, 8000U, 160U, 39519U, 39520U, 60000U}) {
        const auto part = std::span(samples).first(length);
        const auto whole = reduced(part, second);
        EXPECT_GE(whole.size(), length);
        EXPECT_LE(whole.size(), length + 320);
        EXPECT_EQ(reduced(part, 77), whole) << length;
    }
}

TEST(SteadyNoiseReduction, QuietensWhatDoesNotChange) {
    SteadyNoiseReduction reduction;
    const auto hiss = integers(noise(2 * second, 0.02F));
    const auto result = reduction.add(hiss);
    EXPECT_LT(level(std::span(result).last(second)), level(hiss) - 5);
    reduction.restart();
    EXPECT_EQ(reduction.add(hiss), result) << "something of the first stream was left";
}

TEST(SpectralGain, ChangesWhatItIsToldToAndNothingElse) {
    constexpr std::size_t frames = 100;
    const auto tone = [](double frequency) {
        std::vector<float> samples((frames + 1) * SpectralGain::hop);
        for (std::size_t index = 0; index < samples.size(); ++index)
            samples[index] =
                static_cast<float>(0.3 * std::sin(2 * std::numbers::pi * frequency *
                                                  static_cast<double>(index) / second));
        return samples;
    };
    const auto low = tone(500);
    auto both = tone(6000);
    std::ranges::transform(both, low, both.begin(), std::plus());
    std::vector<float> factors(SpectralGain::bins, 1);
    const auto apply = [&] {
        SpectralGain gain;
        std::vector<float> out;
        for (std::size_t frame = 0; frame < frames; ++frame)
            gain.apply(
                std::span(both).subspan(frame * SpectralGain::hop, SpectralGain::frameSamples),
                factors, out);
        return out;
    };
    const auto farthest = [](const std::vector<float>& out, const std::vector<float>& wanted) {
        float most = 0;
        for (std::size_t index = SpectralGain::hop; index < out.size(); ++index)
            most = std::max(most, std::abs(out[index] - wanted[index]));
        return most;
    };
    EXPECT_LT(farthest(apply(), both), 1e-5F);
    std::fill(factors.begin() + 128, factors.end(), 0.0F); // from 4 kHz
    EXPECT_LT(farthest(apply(), low), 0.01F);
}

} // namespace
} // namespace tavik
