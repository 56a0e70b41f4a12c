#pragma once

#include "platform/audio/AudioServer.h"

#include <memory>
#include <span>

struct soxr;

namespace tavik {

// Turns interleaved frames of one format into mono at another rate, as a stream: the filter's state
// is kept between calls. The channels are averaged. For one thread at a time.
class Resampler {
public:
    // Throws AudioError for a rate or channel count of 0 or beyond reason (768 kHz, 32 channels).
    Resampler(const AudioFormat& from, std::uint32_t toRate);
    ~Resampler();
    Resampler(const Resampler&) = delete;
    Resampler& operator=(const Resampler&) = delete;

    // The samples that are ready after `frames`, valid until the next call; the filter holds some
    // 20 milliseconds back. What is no number counts as silence. Allocates only when a call brings
    // more frames than any before it.
    std::span<const float> process(std::span<const float> frames);

private:
    struct Buffers;

    AudioFormat from;
    std::unique_ptr<Buffers> buffers;
    soxr* engine = nullptr; // none when the rates are equal
};

} // namespace tavik
