#pragma once

#include "platform/audio/AudioServer.h"
#include "tools/demo/Sound.h"

#include "tools/demo/WallTime.h"
#include <memory>
#include <optional>
#include <string>

namespace tavik::demo {

// A recording so far, with the time of every sample.
class Recording {
public:
    // Notes that the samples before number `end` had arrived at `time`.
    void arrived(std::size_t end, WallTime time);

    // When sample `number` was captured. A sample is never captured later than it arrives, and a
    // block that arrives late because the machine is busy tells less than a punctual one after it:
    // so the earliest estimate of all blocks from this sample on counts.
    WallTime timeOf(std::size_t number) const;

    // The first sample captured at `time` or later; the length when there is none yet.
    std::size_t sampleAt(WallTime time) const;

    Sound sound;

private:
    struct Arrival {
        std::size_t end;
        WallTime time;
    };
    std::vector<Arrival> arrivals;
};

// Records a source of the sound server until destroyed, averaging its channels.
class Recorder {
public:
    // Throws AudioError.
    Recorder(AudioServer& server, const AudioDevice& source);
    ~Recorder();
    Recorder(const Recorder&) = delete;
    Recorder& operator=(const Recorder&) = delete;

    Recording soFar() const;

    // Why the recording ended by itself; nothing while it goes on.
    std::optional<std::string> endReason() const;

private:
    struct Shared;
    std::unique_ptr<Shared> shared;
    std::unique_ptr<AudioCapture> capture; // last: its tap uses `shared`
};

} // namespace tavik::demo
