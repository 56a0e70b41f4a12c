#pragma once

#include "tools/stand-ins/services/ChildProcess.h"
#include "tools/stand-ins/services/TemporaryFolder.h"

#include <string>
#include <vector>

namespace tavik {

// A sound server of our own, without devices: an output "speaker", which is the default, and an
// input "microphone", the default too, that hears what is played into the output "microphone-feed".
class PrivateSoundServer {
public:
    virtual ~PrivateSoundServer() = default;
    PrivateSoundServer(const PrivateSoundServer&) = delete;
    PrivateSoundServer& operator=(const PrivateSoundServer&) = delete;

    // For PULSE_SERVER.
    std::string server() const { return "unix:" + socket; }

    virtual void kill() = 0;
    // Starts it again, without what was loaded in between. Throws std::runtime_error when it does
    // not come up within ten seconds.
    virtual void restart() = 0;

    // `pactl` with these arguments; returns what it printed. Throws std::runtime_error when it
    // fails.
    std::string pactl(const std::vector<std::string>& arguments);

    // Loads a module; returns its number, for "unload-module".
    std::string loadModule(const std::string& name, const std::vector<std::string>& arguments);

protected:
    // `socketName` is where it serves, below `folder`.
    explicit PrivateSoundServer(const std::string& socketName)
        : socket(folder.file(socketName)) {}

    // Tries until "microphone" and "speaker" are the defaults. Throws std::runtime_error, with what
    // the log says, when `daemon` ends or ten seconds have passed.
    void awaitDefaults(ChildProcess& daemon);

    TemporaryFolder folder;
    const std::string log = folder.file("log");
    const std::string socket;
};

// Plays a WAV file into the output `sink` of the server, and blocks until it is played.
void playWav(const std::string& server, const std::string& sink, const std::string& path);

} // namespace tavik
