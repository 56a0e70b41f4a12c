#include "platform/recognition/SpeechCleaner.h"

#include <algorithm>
#include <cmath>
#include <random>

namespace tavik {

namespace {

// Relative to the whole window, of which speech is about a third.
constexpr double softNoise = 0.05; // 26 dB below

std::vector<float> windowOf(std::span<const std::int16_t> samples) {
    constexpr std::size_t size = SpeechCleaner::windowSamples;
    const auto heard = samples.last(std::min(samples.size(), size));
    std::vector<float> window(size);
    std::ranges::transform(heard, window.end() - static_cast<std::ptrdiff_t>(heard.size()),
                           [](std::int16_t sample) { return static_cast<float>(sample) / 32768; });
    return window;
}

// No room is as silent as what some microphones give between words, and the acoustic model knows
// rooms only: it takes the edges of such silence for consonants.
std::vector<float> withSoftNoise(std::vector<float> window) {
    double energy = 0;
    for (const float sample : window)
        energy += static_cast<double>(sample) * sample;
    std::minstd_rand random; // the same for each window
    std::normal_distribution<float> noise;
    const auto level =
        static_cast<float>(softNoise * std::sqrt(energy / static_cast<double>(window.size())));
    for (float& sample : window)
        sample += level * noise(random);
    return window;
}

} // namespace

SpeechCleaner::SpeechCleaner(const std::string& path)
    : network(path, frameSize) {}

std::vector<float> SpeechCleaner::cepstra(std::span<const std::int16_t> samples) {
    const auto values = network.hear(withSoftNoise(windowOf(samples)));
    return {values.begin(), values.end()};
}

} // namespace tavik
