#include "platform/recognition/SpectralGain.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <numbers>
#include <opencv2/core.hpp>

namespace tavik {

namespace {

using Spectrum = std::array<float, SpectralGain::transformSize>;

cv::Mat row(Spectrum& values) {
    return {1, static_cast<int>(values.size()), CV_32F, values.data()};
}

// The transform of real numbers is packed: the first bin, then the real and imaginary part of each
// one, and of the last bin the real part alone.
void multiply(Spectrum& spectrum, std::span<const float> factors) {
    spectrum.front() *= factors.front();
    for (std::size_t place = 1; place < spectrum.size(); ++place)
        spectrum[place] *= factors[(place + 1) / 2];
}

} // namespace

// The squares of the slopes of two frames that overlap add up to one.
SpectralGain::SpectralGain() {
    for (std::size_t place = 0; place < frameSamples; ++place)
        slope[place] = std::sin(std::numbers::pi_v<float> * (static_cast<float>(place) + 0.5F) /
                                static_cast<float>(frameSamples));
}

void SpectralGain::restart() {
    overlap.fill(0);
}

void SpectralGain::apply(std::span<const float> frame, std::span<const float> factors,
                         std::vector<float>& out) {
    Spectrum spectrum{};
    std::ranges::transform(frame, slope, spectrum.begin(), std::multiplies());
    cv::Mat values = row(spectrum);
    cv::dft(values, values);
    multiply(spectrum, factors);
    cv::idft(values, values, cv::DFT_SCALE);
    for (std::size_t place = 0; place < hop; ++place) {
        out.push_back(overlap[place] + spectrum[place] * slope[place]);
        overlap[place] = spectrum[hop + place] * slope[hop + place];
    }
}

} // namespace tavik
