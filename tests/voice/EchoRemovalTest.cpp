#include "voice/EchoRemoval.h"
#include "voice/SampleRing.h"

#include <cmath>
#include <random>

namespace tavik {

namespace {

constexpr std::size_t length = 40'000; // 2.5 s
constexpr std::size_t half = length / 2;

// Noise that comes and goes as syllables do.
std::vector<float> babble(unsigned seed) {
    std::mt19937 random(seed);
    std::normal_distribution<float> noise(0, 0.1F);
    std::vector<float> samples(length);
    for (std::size_t i = 0; i < length; ++i)
        samples[i] = noise(random) * std::abs(std::sin(static_cast<float>(i) / 1500));
    return samples;
}

double level(const std::vector<float>& samples, std::size_t begin, std::size_t end) {
    return rootMeanSquare(std::span(samples).subspan(begin, end - begin));
}

} // namespace

TEST(EchoRemoval, TakesAwayWhatIsPlayedAndLeavesTheUser) {
    const auto played = babble(1);
    const auto user = babble(2);
    for (const std::size_t delay : {0, 500, 3000}) {
        std::vector<float> heard(length);
        for (std::size_t i = delay; i < length; ++i)
            heard[i] = 0.7F * played[i - delay];
        for (std::size_t i = half; i < length; ++i)
            heard[i] += user[i];
        const auto rest = withoutEcho(heard, played);
        EXPECT_LT(level(rest, delay, half), 0.3 * level(heard, delay, half)) << delay;
        EXPECT_GT(level(rest, half, length), 0.4 * level(user, half, length)) << delay;
    }
}

TEST(EchoRemoval, TakesOddSounds) {
    EXPECT_TRUE(withoutEcho({}, {}).empty());
    const auto rest = withoutEcho(std::vector<float>(1000, NAN), std::vector<float>(1000, 3.0F));
    EXPECT_EQ(rest.size(), 1000U);
}

} // namespace tavik
