#include "tests/platform/audio/HeardSound.h"

#include <algorithm>
#include <cmath>

namespace tavik {

namespace {

constexpr auto patience = std::chrono::seconds(10);
constexpr double blocksASecond = 100;
constexpr double loudLevel = 0.003;

} // namespace

HeardSound::HeardSound(AudioServer& server, const AudioDevice& source)
    : captured(source.format)
    , capture(server.openCapture(
          source, [this](std::span<const float> frames, const AudioFormat&) { append(frames); },
          [this](const std::string& reason) { noteEnd(reason); }, {})) {}

void HeardSound::append(std::span<const float> frames) {
    const std::lock_guard lock(mutex);
    for (std::size_t i = 0; i < frames.size(); i += captured.channelCount)
        samples.push_back(frames[i]);
    changed.notify_all();
}

void HeardSound::noteEnd(const std::string& reason) {
    const std::lock_guard lock(mutex);
    ended = {ended.count + 1, reason};
    changed.notify_all();
}

double HeardSound::seconds() {
    const std::lock_guard lock(mutex);
    return static_cast<double>(samples.size()) / captured.sampleRate;
}

bool HeardSound::hearMore(double duration) {
    std::unique_lock lock(mutex);
    const std::size_t wanted =
        samples.size() + static_cast<std::size_t>(duration * captured.sampleRate);
    return changed.wait_for(lock, patience, [&] { return samples.size() >= wanted; });
}

std::vector<float> HeardSound::since(double begin) {
    const std::lock_guard lock(mutex);
    const auto first = static_cast<std::size_t>(begin * captured.sampleRate);
    return {samples.begin() + static_cast<std::ptrdiff_t>(std::min(first, samples.size())),
            samples.end()};
}

HeardSound::End HeardSound::awaitEnd() {
    std::unique_lock lock(mutex);
    changed.wait_for(lock, patience, [&] { return ended.count > 0; });
    return ended;
}

HeardSound::End HeardSound::end() {
    const std::lock_guard lock(mutex);
    return ended;
}

double levelOf(std::span<const float> samples) {
    double sum = 0;
    for (const float sample : samples)
        sum += static_cast<double>(sample) * sample;
    return samples.empty() ? 0 : std::sqrt(sum / static_cast<double>(samples.size()));
}

double frequencyOf(std::span<const float> samples, double sampleRate) {
    int rises = 0;
    for (std::size_t i = 1; i < samples.size(); ++i)
        rises += samples[i - 1] < 0 && samples[i] >= 0;
    return rises * sampleRate / static_cast<double>(samples.size());
}

LoudTime loudTimeOf(std::span<const float> samples, double sampleRate) {
    LoudTime loud;
    const auto block = static_cast<std::size_t>(sampleRate / blocksASecond);
    for (std::size_t begin = 0; begin + block <= samples.size(); begin += block)
        if (levelOf(samples.subspan(begin, block)) > loudLevel) {
            loud.length += 1 / blocksASecond;
            loud.end = static_cast<double>(begin + block) / sampleRate;
        }
    return loud;
}

AudioDevice sourceNamed(AudioServer& server, const std::string& identifier) {
    const std::string suffix = ".monitor";
    if (identifier.ends_with(suffix)) {
        auto output = server.defaultOutput({}).value();
        if (output.identifier + suffix != identifier)
            throw AudioError("not the default output: " + identifier);
        output.identifier = identifier;
        return output;
    }
    const auto inputs = server.inputs({});
    const auto found = std::find_if(inputs.begin(), inputs.end(), [&](const AudioDevice& input) {
        return input.identifier == identifier;
    });
    return found == inputs.end() ? throw AudioError("no such input: " + identifier) : *found;
}

} // namespace tavik
