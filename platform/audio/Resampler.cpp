#include "platform/audio/Resampler.h"

#include <numeric>
#include <soxr.h>
#include <vector>

namespace tavik {

namespace {

constexpr std::uint32_t highestRate = 768'000;
constexpr std::uint32_t mostChannels = 32;

bool isReasonable(const AudioFormat& format) {
    return format.sampleRate > 0 && format.sampleRate <= highestRate && format.channelCount > 0 &&
           format.channelCount <= mostChannels;
}

void mixDown(std::span<const float> frames, std::uint32_t channels, std::vector<float>& mono) {
    mono.resize(frames.size() / channels);
    for (std::size_t frame = 0; frame < mono.size(); ++frame) {
        const auto begin = frames.begin() + static_cast<std::ptrdiff_t>(frame * channels);
        mono[frame] = std::accumulate(begin, begin + channels, 0.0F) / static_cast<float>(channels);
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
    const soxr_quality_spec_t quality = soxr_quality_spec(SOXR_MQ, 0);
    const soxr_runtime_spec_t runtime = soxr_runtime_spec(1);
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
    if (!engine)
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
