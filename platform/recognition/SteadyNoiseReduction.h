#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

struct SpeexPreprocessState_;

namespace tavik {

// Makes noise that does not change, like a fan's, quieter in a stream of 16 kHz. What comes out
// lags behind by 10 to 20 ms. For one thread at a time.
class SteadyNoiseReduction {
public:
    SteadyNoiseReduction();

    // Forgets the noise and what was added.
    void restart();
    // Adds samples; gives those that are ready.
    std::vector<std::int16_t> add(std::span<const std::int16_t> samples);
    // Gives the rest, and a little silence after it. After it comes `restart`.
    std::vector<std::int16_t> end();

private:
    struct Release {
        void operator()(SpeexPreprocessState_* released) const;
    };

    std::unique_ptr<SpeexPreprocessState_, Release> filter;
    std::vector<std::int16_t> waiting; // for a whole frame
};

} // namespace tavik
