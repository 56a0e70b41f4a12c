#include "voice/EchoRemoval.h"

#include "voice/VoiceTuning.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <memory>
#include <speex/speex_echo.h>
#include <speex/speex_preprocess.h>

namespace tavik {

namespace {

constexpr std::size_t frame = 256;     // samples
constexpr int reach = 4096;            // samples; how late the echo may come, a quarter of a second
constexpr std::size_t headStart = 800; // samples; the two recordings are aligned that badly
constexpr int passes = 8;              // over the same sound: the first ones get to know the room

using Samples = std::array<spx_int16_t, frame>;

struct DestroyCanceller {
    void operator()(SpeexEchoState* state) const { speex_echo_state_destroy(state); }
};
using Canceller = std::unique_ptr<SpeexEchoState, DestroyCanceller>;

Canceller makeCanceller() {
    Canceller canceller(speex_echo_state_init(static_cast<int>(frame), reach));
    int rate = static_cast<int>(tuning::SAMPLE_RATE);
    speex_echo_ctl(canceller.get(), SPEEX_ECHO_SET_SAMPLING_RATE, &rate);
    return canceller;
}

struct DestroySuppressor {
    void operator()(SpeexPreprocessState* state) const { speex_preprocess_state_destroy(state); }
};
using Suppressor = std::unique_ptr<SpeexPreprocessState, DestroySuppressor>;

// Takes away what the canceller leaves of the echo, and steady noise.
Suppressor makeSuppressor(SpeexEchoState* canceller) {
    Suppressor suppressor(speex_preprocess_state_init(static_cast<int>(frame),
                                                      static_cast<int>(tuning::SAMPLE_RATE)));
    speex_preprocess_ctl(suppressor.get(), SPEEX_PREPROCESS_SET_ECHO_STATE, canceller);
    return suppressor;
}

// The frame that begins at `begin`, with silence past the end.
Samples frameOf(std::span<const float> samples, std::size_t begin) {
    Samples copy{};
    for (std::size_t i = 0; i < frame && begin + i < samples.size(); ++i)
        if (const float sample = samples[begin + i]; std::isfinite(sample))
            copy[i] =
                static_cast<spx_int16_t>(std::lround(32767 * std::clamp(sample, -1.0F, 1.0F)));
    return copy;
}

} // namespace

std::vector<float> withoutEcho(std::span<const float> heard, std::span<const float> played) {
    const Canceller canceller = makeCanceller();
    const Suppressor suppressor = makeSuppressor(canceller.get());
    std::vector<float> rest(heard.size());
    for (int pass = 1; pass <= passes; ++pass)
        for (std::size_t begin = 0; begin + frame <= heard.size(); begin += frame) {
            const Samples microphone = frameOf(heard, begin);
            const Samples loudspeaker = frameOf(played, begin + headStart);
            Samples result{};
            speex_echo_cancellation(canceller.get(), microphone.data(), loudspeaker.data(),
                                    result.data());
            if (pass == passes)
                speex_preprocess_run(suppressor.get(), result.data());
            std::transform(result.begin(), result.end(),
                           rest.begin() + static_cast<std::ptrdiff_t>(begin),
                           [](spx_int16_t sample) { return static_cast<float>(sample) / 32767; });
        }
    return rest;
}

} // namespace tavik
