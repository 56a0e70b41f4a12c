#include "tools/demo/Recorder.h"

#include "platform/concurrency/Locked.h"

#include <algorithm>

namespace tavik::demo {

namespace {

using std::chrono::system_clock;

constexpr std::size_t expectedSeconds = 120; // room made in advance, so that the tap need not

system_clock::duration lasting(double samples, std::uint32_t rate) {
    return std::chrono::duration_cast<system_clock::duration>(
        std::chrono::duration<double>(samples / rate));
}

} // namespace

void Recording::arrived(std::size_t end, WallTime time) {
    if (arrivals.empty())
        arrivals.reserve(expectedSeconds * 200);
    arrivals.push_back({end, time});
}

WallTime Recording::timeOf(std::size_t number) const {
    WallTime earliest = WallTime::max();
    for (auto arrival = arrivals.rbegin(); arrival != arrivals.rend() && arrival->end > number;
         ++arrival) {
        const auto later = static_cast<double>(arrival->end - number);
        earliest = std::min(earliest, arrival->time - lasting(later, sound.rate));
    }
    return earliest;
}

std::size_t Recording::sampleAt(WallTime time) const {
    std::size_t begin = 0;
    std::size_t end = sound.samples.size();
    while (begin < end) {
        const std::size_t middle = begin + (end - begin) / 2;
        if (timeOf(middle) < time)
            begin = middle + 1;
        else
            end = middle;
    }
    return begin;
}

struct Recorder::Shared {
    struct State {
        Recording recording;
        std::optional<std::string> endReason;
    };
    Locked<State> state;

    void append(std::span<const float> frames, const AudioFormat& format) {
        const WallTime now = system_clock::now();
        state.with([&](State& so) {
            Sound& sound = so.recording.sound;
            sound.rate = format.sampleRate;
            for (std::size_t i = 0; i + format.channelCount <= frames.size();
                 i += format.channelCount) {
                float sum = 0;
                for (std::size_t channel = 0; channel < format.channelCount; ++channel)
                    sum += frames[i + channel];
                sound.samples.push_back(sum / static_cast<float>(format.channelCount));
            }
            so.recording.arrived(sound.samples.size(), now);
        });
    }
};

Recorder::Recorder(AudioServer& server, const AudioDevice& source)
    : shared(std::make_unique<Shared>()) {
    shared->state.with([&](Shared::State& state) {
        state.recording.sound.rate = source.format.sampleRate;
        state.recording.sound.samples.reserve(expectedSeconds * source.format.sampleRate);
    });
    capture = server.openCapture(
        source,
        [state = shared.get()](std::span<const float> frames, const AudioFormat& format) {
            state->append(frames, format);
        },
        [state = shared.get()](const std::string& reason) {
            state->state.with([&](Shared::State& so) { so.endReason = reason; });
        },
        {});
}

Recorder::~Recorder() = default;

Recording Recorder::soFar() const {
    return shared->state.with([](const Shared::State& state) { return state.recording; });
}

std::optional<std::string> Recorder::endReason() const {
    return shared->state.with([](const Shared::State& state) { return state.endReason; });
}

} // namespace tavik::demo
