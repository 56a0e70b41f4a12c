#pragma once

#include "tools/stand-ins/services/ChildProcess.h"
#include "tools/stand-ins/services/TemporaryFolder.h"

#include <memory>
#include <string>
#include <vector>

namespace tavik {

// A sound server of our own, without devices: an output "speaker", which is the default, and an
// input "microphone", the default too, that hears what is played into the output "microphone-feed".
class PrivatePulseAudio {
public:
    // Throws std::runtime_error when it does not come up within ten seconds.
    PrivatePulseAudio();

    // For PULSE_SERVER.
    std::string server() const;

    ChildProcess& process() { return *daemon; }
    void kill() { daemon->kill(); }
    // Starts it again, without what was loaded in between.
    void restart();

    // `pactl` with these arguments; returns what it printed. Throws std::runtime_error when it
    // fails.
    std::string pactl(const std::vector<std::string>& arguments);

    // Loads a module; returns its number, for "unload-module".
    std::string loadModule(const std::string& name, const std::vector<std::string>& arguments);

private:
    void start();

    TemporaryFolder folder;
    std::unique_ptr<ChildProcess> daemon;
};

// Plays a WAV file into the output `sink` of the server, and blocks until it is played.
void playWav(const std::string& server, const std::string& sink, const std::string& path);

} // namespace tavik
