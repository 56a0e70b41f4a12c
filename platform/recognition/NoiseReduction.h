#pragma once

#include "platform/recognition/SpectralGain.h"
#include "platform/recognition/SteadyNoiseReduction.h"
#include "platform/recognition/WindowNetwork.h"

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace tavik {

// Takes the noise out of a stream of 16 kHz. First what is steady is made quieter; then a network
// says of windows of 2.5 s what in them is speech, and the rest is made quieter, too; the pauses
// are all but silenced, so that nobody in the background is understood. What comes out lags behind
// by 0.35 to 0.85 s, at the beginning by 2.5 s. For one thread at a time; everything throws
// TranscriberError.
class NoiseReduction {
public:
    // `path` is that of the network.
    explicit NoiseReduction(const std::string& path);

    void restart();
    // Adds samples; gives those that are ready.
    std::vector<std::int16_t> add(std::span<const std::int16_t> samples);
    // Gives the rest. After it comes `restart`.
    std::vector<std::int16_t> end();

private:
    void take(std::span<const std::int16_t> samples);
    void reduce(std::size_t untilFrame);
    std::vector<float> gatesFor(std::span<const float> answer);
    void forgetFrames(std::size_t count);
    std::vector<std::int16_t> takeReady();

    SteadyNoiseReduction steady;
    WindowNetwork network;
    SpectralGain gain;
    std::vector<float> window;
    std::size_t framesReduced = 0; // of `window`
    float loudest = 0;             // speech so far, a little less each time
    std::vector<float> ready;
    std::size_t samplesTaken = 0;
    std::size_t samplesMade = 0;
};

} // namespace tavik
