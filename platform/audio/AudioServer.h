#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <stop_token>
#include <string>
#include <vector>

namespace tavik {

struct AudioFormat {
    std::uint32_t sampleRate = 0; // Hz
    std::uint32_t channelCount = 0;

    bool operator==(const AudioFormat&) const = default;
};

// "44100 Hz, 2 channels, 32-bit float".
std::string describe(const AudioFormat& format);

// An input (source) or output (sink) of the sound server.
struct AudioDevice {
    std::uint32_t id = 0;
    std::string identifier; // the server's own name, such as "alsa_input.pci-0000_00_1f.3"
    std::string name;       // for people
    AudioFormat format;
};

// A sound of a second or so, such as a cue.
struct ShortSound {
    std::string name; // its own among all that are played
    std::uint32_t sampleRate = 0;
    std::vector<float> samples; // one channel
};

// The server cannot be reached, or refused. `what()` is a clear phrase.
class AudioError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// A running recording. Destruction stops it; afterwards the tap is not called any more.
class AudioCapture {
public:
    virtual ~AudioCapture() = default;

    // The device's own format, in which the tap gets its samples.
    virtual AudioFormat format() const = 0;
};

// The desktop's sound server. Every call connects anew when the connection was lost, waits at most
// two seconds for the server, never starts one, and throws AudioError when there is none and
// Cancelled when it is stopped. Safe from any thread, but not from a tap or a change handler.
class AudioServer {
public:
    // Interleaved frames as captured, on the server's own thread, which the tap must not hold up: a
    // handful of milliseconds at a time. Allocates nothing in steady state.
    using Tap = std::function<void(std::span<const float> samples, const AudioFormat& format)>;
    // The capture ended by itself (device gone, server gone), with the reason; once, on the
    // server's thread.
    using Ended = std::function<void(const std::string& reason)>;

    virtual ~AudioServer() = default;

    // Microphones and line inputs; a monitor of an output is no input.
    virtual std::vector<AudioDevice> inputs(std::stop_token stop) = 0;
    // None, too, where the server's default is a monitor or not chosen yet.
    virtual std::optional<AudioDevice> defaultInput(std::stop_token stop) = 0;
    virtual std::optional<AudioDevice> defaultOutput(std::stop_token stop) = 0;

    // Makes `device` the default input and reads it back until the server agrees, for at most two
    // seconds. False when the server refused or never agreed.
    virtual bool setDefaultInputConfirmed(const AudioDevice& device, std::stop_token stop) = 0;

    // Starts recording `device` with low latency (first samples within some 20 ms).
    virtual std::unique_ptr<AudioCapture> openCapture(const AudioDevice& device, Tap tap,
                                                      Ended ended, std::stop_token stop) = 0;

    // Plays `sound` on the default output at `volume`, a linear factor, and returns as soon as it
    // begins, which takes a few milliseconds: the server keeps every sound after its first time.
    virtual void playSound(const ShortSound& sound, double volume, std::stop_token stop) = 0;

    // `changed` is called, on the server's thread, whenever the default input, the default output
    // or the list of devices changes, and when the connection is lost. An empty function ends it.
    virtual void watchRoutes(std::function<void()> changed, std::stop_token stop) = 0;
};

// The sound server of the session, found as every client finds it (PULSE_SERVER). Connects at the
// first call.
std::unique_ptr<AudioServer> makePulseAudioServer();

// Reads a sound file; more than one channel is averaged. Throws AudioError.
ShortSound readShortSound(const std::string& name, const std::string& path);

} // namespace tavik
