#include "platform/recognition/SpeechSpectrum.h"

#include "platform/recognition/Transcriber.h"

#include <algorithm>
#include <array>
#include <sphinxbase/fe.h>

namespace tavik {

namespace {

constexpr std::size_t framesAtATime = 32;

} // namespace

void SpeechSpectrum::Release::operator()(fe_s* released) const {
    fe_free(released);
}

SpeechSpectrum::SpeechSpectrum(fe_s* decoderFrontEnd)
    : frontEnd(fe_retain(decoderFrontEnd))
    , sums(static_cast<std::size_t>(fe_get_output_size(decoderFrontEnd))) {}

void SpeechSpectrum::restart() {
    fe_start_stream(frontEnd.get());
    fe_start_utt(frontEnd.get());
    forget();
}

void SpeechSpectrum::settle(std::span<const std::int16_t> everything) {
    endUtterance();
    fe_start_utt(frontEnd.get());
    forget();
    add(everything);
    endUtterance();
}

void SpeechSpectrum::forget() {
    std::ranges::fill(sums, 0);
    frames = 0;
}

void SpeechSpectrum::endUtterance() {
    std::vector<mfcc_t> last(sums.size());
    std::int32_t made = 0;
    fe_end_utt(frontEnd.get(), last.data(), &made);
}

void SpeechSpectrum::add(std::span<const std::int16_t> samples) {
    const std::size_t width = sums.size();
    std::vector<mfcc_t> values(framesAtATime * width);
    std::array<mfcc_t*, framesAtATime> rows;
    for (std::size_t row = 0; row < rows.size(); ++row)
        rows[row] = &values[row * width];
    const std::int16_t* next = samples.data();
    std::size_t left = samples.size();
    while (left > 0) {
        std::int32_t made = framesAtATime;
        std::int32_t first = 0;
        if (fe_process_frames(frontEnd.get(), &next, &left, rows.data(), &made, &first) < 0)
            throw TranscriberError("Speech recognition failed on the audio.");
        for (std::size_t index = 0; index < made * width; ++index)
            sums[index % width] += values[index];
        frames += made;
    }
}

std::vector<float> SpeechSpectrum::average() const {
    std::vector<float> mean;
    mean.reserve(sums.size());
    for (const double sum : sums)
        mean.push_back(static_cast<float>(sum / static_cast<double>(frames)));
    return mean;
}

} // namespace tavik
