#include "platform/recognition/SteadyNoiseReduction.h"

#include <speex/speex_preprocess.h>

namespace tavik {

namespace {

constexpr int samplesPerSecond = 16000;
constexpr std::size_t frameSamples = 160;
// At 15 more words were lost to music behind them, and no fewer to white noise.
constexpr int decibelsAtMost = -8;

} // namespace

void SteadyNoiseReduction::Release::operator()(SpeexPreprocessState* released) const {
    speex_preprocess_state_destroy(released);
}

SteadyNoiseReduction::SteadyNoiseReduction() {
    restart();
}

void SteadyNoiseReduction::restart() {
    filter.reset(speex_preprocess_state_init(frameSamples, samplesPerSecond));
    int decibels = decibelsAtMost;
    speex_preprocess_ctl(filter.get(), SPEEX_PREPROCESS_SET_NOISE_SUPPRESS, &decibels);
    waiting.clear();
}

std::vector<std::int16_t> SteadyNoiseReduction::add(std::span<const std::int16_t> samples) {
    waiting.insert(waiting.end(), samples.begin(), samples.end());
    const std::size_t whole = waiting.size() - waiting.size() % frameSamples;
    const auto rest = waiting.begin() + static_cast<std::ptrdiff_t>(whole);
    std::vector<std::int16_t> reduced(waiting.begin(), rest);
    waiting.erase(waiting.begin(), rest);
    for (std::size_t begin = 0; begin < whole; begin += frameSamples)
        speex_preprocess_run(filter.get(), &reduced[begin]);
    return reduced;
}

// The filter keeps a frame, and the one that is not complete has to be filled.
std::vector<std::int16_t> SteadyNoiseReduction::end() {
    return add(std::vector<std::int16_t>(2 * frameSamples));
}

} // namespace tavik
