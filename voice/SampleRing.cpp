#include "voice/SampleRing.h"

#include <algorithm>
#include <cmath>

namespace tavik {

SampleRing::SampleRing(std::size_t length)
    : samples(length, 0.0F) {}

void SampleRing::append(std::span<const float> added) {
    if (added.size() > samples.size())
        added = added.last(samples.size());
    const std::size_t untilEnd = std::min(added.size(), samples.size() - oldest);
    std::copy_n(added.begin(), untilEnd, samples.begin() + static_cast<std::ptrdiff_t>(oldest));
    std::copy(added.begin() + static_cast<std::ptrdiff_t>(untilEnd), added.end(), samples.begin());
    oldest = (oldest + added.size()) % samples.size();
}

void SampleRing::clear() {
    std::fill(samples.begin(), samples.end(), 0.0F);
}

void SampleRing::copyTo(std::vector<float>& copy) const {
    copy.resize(samples.size());
    const auto middle = samples.begin() + static_cast<std::ptrdiff_t>(oldest);
    std::copy(samples.begin(), middle, std::copy(middle, samples.end(), copy.begin()));
}

double rootMeanSquare(std::span<const float> samples) {
    if (samples.empty())
        return 0;
    double sum = 0;
    for (const float sample : samples)
        sum += static_cast<double>(sample) * sample;
    return std::sqrt(sum / static_cast<double>(samples.size()));
}

} // namespace tavik
