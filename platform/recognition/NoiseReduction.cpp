#include "platform/recognition/NoiseReduction.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <limits>
#include <numeric>

namespace tavik {

namespace {

constexpr std::size_t hop = SpectralGain::hop;
constexpr std::size_t windowSamples = WindowNetwork::windowSamples;
constexpr std::size_t windowFrames = WindowNetwork::frames;
constexpr std::size_t answerSize = SpectralGain::bins + 1; // a frame's factors, and its loudness
// The network's frames are longer than those whose frequencies are changed, around the same centre.
constexpr std::size_t frameBegin = 46;
// The frame before the stream, without which its first samples would fade in.
constexpr std::size_t samplesBefore = frameBegin + hop;
constexpr std::size_t framesAhead = 35; // that the network and the gate look at
constexpr std::size_t framesAtATime = 50;

// Energy in nats.
constexpr float quietestSpeech = 4; // below the loudest
constexpr float gateSharpness = 1.5F;
constexpr float loudestFades = 0.75F; // in framesAtATime
constexpr float closedGate = 0.03F;
constexpr std::size_t framesAroundSpeech = 20;
constexpr std::size_t gateSlope = 3;
constexpr std::ptrdiff_t framesOfClicks = 7; // in a window, louder than its loudest speech

// What is within `reach` of `centre`.
std::span<const float> around(std::span<const float> values, std::size_t centre,
                              std::size_t reach) {
    const std::size_t first = centre - std::min(centre, reach);
    const std::size_t last = std::min(centre + reach, values.size() - 1);
    return values.subspan(first, last - first + 1);
}

float meanOf(std::span<const float> values) {
    return std::accumulate(values.begin(), values.end(), 0.0F) / static_cast<float>(values.size());
}

std::vector<float> loudnessOf(std::span<const float> answer) {
    std::vector<float> loudness;
    for (std::size_t last = answerSize - 1; last < answer.size(); last += answerSize)
        loudness.push_back(answer[last]);
    return loudness;
}

float loudestOf(std::vector<float> loudness) {
    const auto place = loudness.begin() + framesOfClicks;
    std::ranges::nth_element(loudness, place, std::greater());
    return *place;
}

std::int16_t toInteger(float sample) {
    return static_cast<std::int16_t>(std::lrint(std::clamp(32768 * sample, -32768.0F, 32767.0F)));
}

float gate(float belowLoudest) {
    const float speech = 1 / (1 + std::exp(gateSharpness * (belowLoudest - quietestSpeech)));
    return std::clamp(2 * speech, closedGate, 1.0F);
}

} // namespace

NoiseReduction::NoiseReduction(const std::string& path)
    : network(path, answerSize) {
    restart();
}

void NoiseReduction::restart() {
    steady.restart();
    gain.restart();
    window.assign(samplesBefore, 0);
    framesReduced = 0;
    loudest = std::numeric_limits<float>::lowest();
    ready.clear();
    samplesTaken = 0;
    samplesMade = 0;
}

std::vector<std::int16_t> NoiseReduction::add(std::span<const std::int16_t> samples) {
    take(steady.add(samples));
    return takeReady();
}

void NoiseReduction::take(std::span<const std::int16_t> samples) {
    samplesTaken += samples.size();
    for (const std::int16_t sample : samples) {
        window.push_back(static_cast<float>(sample) / 32768);
        if (window.size() == windowSamples) {
            reduce(windowFrames - framesAhead);
            forgetFrames(framesAtATime);
        }
    }
}

std::vector<std::int16_t> NoiseReduction::end() {
    take(steady.end());
    const std::size_t frames = (window.size() - frameBegin + hop - 1) / hop;
    window.resize(windowSamples + SpectralGain::frameSamples);
    reduce(frames);
    return takeReady();
}

void NoiseReduction::reduce(std::size_t untilFrame) {
    const auto answer = network.hear(std::span(window).first(windowSamples));
    const auto gates = gatesFor(answer);
    for (; framesReduced < untilFrame; ++framesReduced) {
        const std::size_t frame = std::min(framesReduced, windowFrames - 1);
        std::array<float, SpectralGain::bins> factors;
        std::ranges::transform(answer.subspan(frame * answerSize, factors.size()), factors.begin(),
                               [&](float factor) { return factor * gates[frame]; });
        gain.apply(
            std::span(window).subspan(frameBegin + framesReduced * hop, SpectralGain::frameSamples),
            factors, ready);
    }
}

// Gates open some time before speech and close some time after it, and neither at once, as a click
// would be understood as a consonant.
std::vector<float> NoiseReduction::gatesFor(std::span<const float> answer) {
    const auto loudness = loudnessOf(answer);
    loudest = std::max(loudestOf(loudness), loudest - loudestFades);
    std::vector<float> steps;
    for (std::size_t frame = 0; frame < windowFrames; ++frame)
        steps.push_back(
            gate(loudest - std::ranges::max(around(loudness, frame, framesAroundSpeech))));
    std::vector<float> slopes;
    for (std::size_t frame = 0; frame < windowFrames; ++frame)
        slopes.push_back(meanOf(around(steps, frame, gateSlope)));
    return slopes;
}

void NoiseReduction::forgetFrames(std::size_t count) {
    window.erase(window.begin(), window.begin() + static_cast<std::ptrdiff_t>(count * hop));
    framesReduced -= count;
}

// What lies before the stream's first sample or after its last one is left out.
std::vector<std::int16_t> NoiseReduction::takeReady() {
    std::vector<std::int16_t> samples;
    for (const float value : ready)
        if (samplesMade++ >= hop && samplesMade <= hop + samplesTaken)
            samples.push_back(toInteger(value));
    ready.clear();
    return samples;
}

} // namespace tavik
