#pragma once

#include <array>
#include <span>
#include <vector>

namespace tavik {

// Makes each frequency of a sound louder or quieter, anew every 10 ms of 16 kHz: short-time Fourier
// transform, weighted overlap-add (J. B. Allen, 1977).
class SpectralGain {
public:
    static constexpr std::size_t hop = 160;
    static constexpr std::size_t frameSamples = 2 * hop;
    static constexpr std::size_t transformSize = 512;
    static constexpr std::size_t bins = transformSize / 2 + 1;

    SpectralGain();

    void restart();
    // `frame` begins a hop after the one before and has frameSamples, `factors` one for each bin,
    // from 0 Hz to 8 kHz. Appends a hop of samples to `out`: those that the frame begins with.
    void apply(std::span<const float> frame, std::span<const float> factors,
               std::vector<float>& out);

private:
    std::array<float, frameSamples> slope; // of a frame's beginning and end, in both transforms
    std::array<float, hop> overlap{};
};

} // namespace tavik
