#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

struct fe_s;

namespace tavik {

// The average spectrum of the speech heard so far, silence left out. The decoder measures what it
// hears against it, and so is told how loud and through what microphone somebody speaks.
class SpeechSpectrum {
public:
    // `decoderFrontEnd` gets to know the noise on the way, which it keeps for the decoding.
    explicit SpeechSpectrum(fe_s* decoderFrontEnd);

    void restart();
    void add(std::span<const std::int16_t> samples);
    // Of ten milliseconds each.
    std::size_t speechFrames() const { return frames; }
    // Hears everything a second time, with the noise known from the beginning, and ends. The
    // decoder may use the front end from now on until `restart`.
    void settle(std::span<const std::int16_t> everything);
    // Of at least one frame.
    std::vector<float> average() const;

private:
    struct Release {
        void operator()(fe_s* released) const;
    };
    void forget();
    void endUtterance();

    std::unique_ptr<fe_s, Release> frontEnd;
    std::vector<double> sums;
    std::size_t frames = 0;
};

} // namespace tavik
