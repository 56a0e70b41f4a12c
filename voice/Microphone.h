#pragma once

#include "platform/audio/AudioServer.h"
#include "voice/MicrophoneWatchdog.h"
#include "voice/VoiceServices.h"
#include "voice/VoiceState.h"

#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

namespace tavik {

// The front-end cannot be built; `what()` is the message for the user.
class MicrophoneError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// The microphone front-end: records the chosen input and feeds the rings or the command in
// progress. It is built anew when the route changes, the device disappears or nothing arrives; a
// capture in progress goes on with the new device.
class Microphone {
public:
    // `failed` is called once, from a thread of its own, with the message for the user, when the
    // front-end cannot be built again.
    Microphone(const VoiceServices& services, const VoiceCallbacks& callbacks,
               SharedVoiceState& state, std::function<void(const std::string&)> failed);
    ~Microphone();
    Microphone(const Microphone&) = delete;
    Microphone& operator=(const Microphone&) = delete;

    // Opens the device and starts watching. Throws MicrophoneError and Cancelled.
    void start(std::stop_token stop);

private:
    // A device that is being recorded.
    struct Engine;

    void buildEngine(const std::stop_token& stop);
    AudioDevice chooseInput(const std::stop_token& stop);
    std::string savedName() const;
    std::optional<AudioDevice> connectedInput(const std::string& name, std::stop_token stop);
    AudioDevice defaultInput(const std::stop_token& stop);
    void open(const AudioDevice& device, const std::stop_token& stop);
    std::unique_ptr<Engine> record(const AudioDevice& device, std::stop_token stop);
    // From here on until the next sound the silence is no silence.
    void goDeaf();
    void handleTap(Engine& owner, std::span<const float> samples);
    bool routeIsUnchanged(const std::stop_token& stop);

    const VoiceServices& services;
    const VoiceCallbacks& callbacks;
    SharedVoiceState& state;

    // Used before the watching begins, and then only by the watching thread.
    std::unique_ptr<Engine> engine;
    std::optional<std::uint32_t> boundInputID;
    std::optional<std::uint32_t> boundOutputID;

    MicrophoneWatchdog watchdog; // last: its thread uses all of the above
};

} // namespace tavik
