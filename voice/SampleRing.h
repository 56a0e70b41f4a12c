#pragma once

#include <span>
#include <vector>

namespace tavik {

// The last samples of a stream, always exactly as many as it was made for (silence at first).
// Appending allocates nothing.
class SampleRing {
public:
    explicit SampleRing(std::size_t length);

    // Drops the oldest samples to make room.
    void append(std::span<const float> samples);
    void clear();

    // Copies the samples into `copy`, oldest first; `copy` gets the ring's length.
    void copyTo(std::vector<float>& copy) const;

private:
    std::vector<float> samples;
    std::size_t oldest = 0; // index of the oldest sample, which the next one replaces
};

// Square root of the mean of the squared samples; 0 for none.
double rootMeanSquare(std::span<const float> samples);

} // namespace tavik
