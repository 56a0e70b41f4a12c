#include "platform/audio/Resampler.h"

#include <cmath>
#include <numeric>
#include <soxr.h>
#include <vector>

namespace tavik {

namespace {

constexpr std::uint32_t highestRate = 768'000;
constexpr std::uint32_t mostChannels = 32;

// A gentle filter in small blocks gives its samples out sooner: from 48 to 16 kHz it holds back 19
// ms where soxr's medium quality holds back 38. It is flat up to 6.8 kHz, enough for speech, and
// lets nothing through that the new rate cannot carry.
constexpr double flatPart = 0.85;          // of the band that the new rate can carry
constexpr unsigned long smallestBlock = 8; // as a power of two

bool isReasonable(const AudioFormat& format) {
    return format.sampleRate > 0 && format.sampleRate <= highestRate && format.channelCount > 0 &&
           format.channelCount <= mostChannels;
}

void mixDown(std::span<const float> frames, std::uint32_t channels, std::vector<float>& mono) {
    mono.resize(frames.size() / channels);
    for (std::size_t frame = 0; frame < mono.size(); ++frame) {
        const auto begin = frames.begin() + static_cast<std::ptrdiff_t>(frame * channels);
        const float mean =
            std::accumulate(begin, begin + channels, 0.0F) / static_cast<float>(channels);
        // One bad number would spoil all that the filter still holds.
        mono[frame] = std::isfinite(mean) ? mean : 0;
    }
}

} // namespace

struct Resampler::Buffers {
    std::vector<float> mono;
    std::vector<float> resampled;
    double ratio = 1; // of the rates, out over in
};

Resampler::Resampler(const AudioFormat& source, std::uint32_t toRate)
    : from(source)
    , buffers(std::make_unique<Buffers>()) {
    if (!isReasonable(source) || !isReasonable({toRate, 1}))
        throw AudioError("this audio format cannot be converted: " + describe(source));
    if (source.sampleRate == toRate)
        return;
    buffers->ratio = static_cast<double>(toRate) / source.sampleRate;
    soxr_error_t error = nullptr;
    soxr_quality_spec_t quality = soxr_quality_spec(SOXR_LQ, 0);
    quality.passband_end = flatPart;
    soxr_runtime_spec_t runtime = soxr_runtime_spec(1);
    runtime.log2_min_dft_size = smallestBlock;
    engine = soxr_create(source.sampleRate, toRate, 1, &error, nullptr, &quality, &runtime);
    if (error)
        throw AudioError("this audio format cannot be converted: " + describe(source));
}

Resampler::~Resampler() {
    if (engine)
        soxr_delete(engine);
}

std::span<const float> Resampler::process(std::span<const float> frames) {
    mixDown(frames, from.channelCount, buffers->mono);
    // Without any samples the filter would take the stream to be at its end.
    if (!engine || buffers->mono.empty())
        return buffers->mono;
    // The filter may give back what it held from earlier calls, too.
    const auto room =
        static_cast<std::size_t>(static_cast<double>(buffers->mono.size()) * buffers->ratio) + 4096;
    if (buffers->resampled.size() < room)
        buffers->resampled.resize(room);
    std::size_t taken = 0;
    std::size_t made = 0;
    soxr_process(engine, buffers->mono.data(), buffers->mono.size(), &taken,
                 buffers->resampled.data(), buffers->resampled.size(), &made);
    return {buffers->resampled.data(), made};
}

} // namespace tavik
