#pragma once

#include "platform/audio/AudioServer.h"

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace tavik {

// Records a source from construction to destruction and says what was heard in its first channel.
class HeardSound {
public:
    // Throws AudioError.
    HeardSound(AudioServer& server, const AudioDevice& source);

    const AudioFormat& format() const { return captured; }
    // How many seconds have been recorded.
    double seconds();
    // Blocks until `duration` more has been recorded. False when that takes far too long.
    bool hearMore(double duration);
    // What was recorded from second `begin` on.
    std::vector<float> since(double begin);

    // How often the recording ended by itself, and the last reason.
    struct End {
        int count = 0;
        std::string reason;
    };
    // Blocks until it has ended.
    End awaitEnd();
    End end();

private:
    void append(std::span<const float> frames);
    void noteEnd(const std::string& reason);

    const AudioFormat captured;
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<float> samples;            // guarded by mutex
    End ended;                             // guarded by mutex
    std::unique_ptr<AudioCapture> capture; // last: its tap uses all of the above
};

// Root mean square.
double levelOf(std::span<const float> samples);

// Hz, from the sign changes.
double frequencyOf(std::span<const float> samples, double sampleRate);

// How long the sound is louder than silence, in seconds, and when that ends.
struct LoudTime {
    double length = 0;
    double end = 0;
};
LoudTime loudTimeOf(std::span<const float> samples, double sampleRate);

// The input with this identifier, or with the suffix ".monitor" the monitor of an output.
AudioDevice sourceNamed(AudioServer& server, const std::string& identifier);

} // namespace tavik
