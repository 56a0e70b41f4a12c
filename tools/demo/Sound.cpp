#include "tools/demo/Sound.h"

#include "platform/audio/Resampler.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <sndfile.h>
#include <stdexcept>

namespace tavik::demo {

namespace {

constexpr std::size_t blocksPerSecond = 100;
constexpr double silentFraction = 0.03;     // of the loudest block
constexpr double silentAnyway = 0.0005;     // whatever the loudest is
constexpr sf_count_t longest = 60 * 768000; // frames; more is no utterance

struct CloseFile {
    void operator()(SNDFILE* file) const { sf_close(file); }
};
using SoundFile = std::unique_ptr<SNDFILE, CloseFile>;

double level(std::span<const float> samples) {
    double sum = 0;
    for (const float sample : samples)
        sum += static_cast<double>(sample) * sample;
    return samples.empty() ? 0 : std::sqrt(sum / static_cast<double>(samples.size()));
}

std::vector<double> blockLevels(std::span<const float> samples, std::size_t block) {
    std::vector<double> levels;
    for (std::size_t begin = 0; begin < samples.size(); begin += block)
        levels.push_back(level(samples.subspan(begin, std::min(block, samples.size() - begin))));
    return levels;
}

// Whether each block is more than silence.
std::vector<bool> loudBlocks(std::span<const float> samples, std::size_t block) {
    const auto levels = blockLevels(samples, block);
    const double loudest = levels.empty() ? 0 : *std::max_element(levels.begin(), levels.end());
    const double gate = std::max(silentAnyway, loudest * silentFraction);
    std::vector<bool> loud;
    loud.reserve(levels.size());
    for (const double each : levels)
        loud.push_back(each >= gate);
    return loud;
}

} // namespace

Sound readSound(const std::string& path) {
    SF_INFO info{};
    const SoundFile file(sf_open(path.c_str(), SFM_READ, &info));
    if (!file)
        throw std::runtime_error("\"" + path + "\" is no sound file: " + sf_strerror(nullptr));
    if (info.frames > longest)
        throw std::runtime_error("\"" + path + "\" is too long to be one utterance.");
    const auto channels = static_cast<std::size_t>(info.channels);
    std::vector<float> frames(static_cast<std::size_t>(info.frames) * channels);
    const auto read =
        static_cast<std::size_t>(sf_readf_float(file.get(), frames.data(), info.frames));
    Sound sound{static_cast<std::uint32_t>(info.samplerate), std::vector<float>(read)};
    for (std::size_t i = 0; i < read * channels; ++i)
        sound.samples[i / channels] += frames[i] / static_cast<float>(channels);
    return sound;
}

void writeSound(const std::string& path, const Sound& sound) {
    SF_INFO info{};
    info.samplerate = static_cast<int>(sound.rate);
    info.channels = 1;
    info.format = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
    const SoundFile file(sf_open(path.c_str(), SFM_WRITE, &info));
    const auto count = static_cast<sf_count_t>(sound.samples.size());
    if (!file || sf_writef_float(file.get(), sound.samples.data(), count) != count)
        throw std::runtime_error("\"" + path +
                                 "\" could not be written: " + sf_strerror(file.get()));
}

Sound resampled(const Sound& sound, std::uint32_t rate) {
    Resampler resampler({sound.rate, 1}, rate);
    Sound result{rate, {}};
    const auto append = [&](std::span<const float> samples) {
        const auto ready = resampler.process(samples);
        result.samples.insert(result.samples.end(), ready.begin(), ready.end());
    };
    append(sound.samples);
    // A little silence brings out what the filter still holds.
    append(std::vector<float>(sound.rate / 10));
    return result;
}

std::optional<Part> loudPart(std::span<const float> samples, std::uint32_t rate) {
    const std::size_t block = rate / blocksPerSecond;
    const auto loud = loudBlocks(samples, block);
    const auto first = std::find(loud.begin(), loud.end(), true);
    if (first == loud.end())
        return std::nullopt;
    const auto last = std::find(loud.rbegin(), loud.rend(), true);
    return Part{static_cast<std::size_t>(first - loud.begin()) * block,
                std::min(samples.size(), static_cast<std::size_t>(loud.rend() - last) * block)};
}

std::optional<std::size_t> firstPause(const Sound& sound, double seconds) {
    const std::size_t block = sound.rate / blocksPerSecond;
    const auto loud = loudBlocks(sound.samples, block);
    const auto wanted = static_cast<long>(seconds * blocksPerSecond);
    auto from = std::find(loud.begin(), loud.end(), true);
    while (from != loud.end()) {
        const auto silent = std::find(from, loud.end(), false);
        from = std::find(silent, loud.end(), true);
        if (from != loud.end() && from - silent >= wanted)
            return static_cast<std::size_t>(silent - loud.begin()) * block;
    }
    return std::nullopt;
}

} // namespace tavik::demo
