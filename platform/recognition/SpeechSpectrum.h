#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

struct cmd_ln_s;
struct fe_s;

namespace tavik {

// The average spectrum of the speech heard so far, silence left out. The decoder measures what it
// hears against it, and so is told how loud and through what microphone somebody speaks.
class SpeechSpectrum {
public:
    // `options` are the decoder's.
    explicit SpeechSpectrum(cmd_ln_s* options);

    void restart();
    void add(std::span<const std::int16_t> samples);
    // Of ten milliseconds each.
    std::size_t speechFrames() const { return frames; }
    // Of at least one frame.
    std::vector<float> average() const;

private:
    struct Release {
        void operator()(fe_s* frontEnd) const;
    };
    std::unique_ptr<fe_s, Release> frontEnd;
    std::vector<double> sums;
    std::size_t frames = 0;
};

} // namespace tavik
