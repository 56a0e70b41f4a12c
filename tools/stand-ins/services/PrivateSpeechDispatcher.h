#pragma once

#include "tools/stand-ins/services/ChildProcess.h"
#include "tools/stand-ins/services/TemporaryFolder.h"

#include <memory>
#include <string>

namespace tavik {

// A speech service of our own that speaks with one synthesiser through the given sound server.
class PrivateSpeechDispatcher {
public:
    // `module` names the synthesiser as the service does ("espeak-ng", "flite"); `rate` is how fast
    // it speaks, from -100 to 100. Throws std::runtime_error when it does not come up within ten
    // seconds.
    explicit PrivateSpeechDispatcher(std::string pulseServer, std::string module = "espeak-ng",
                                     int rate = 0);

    // For SPEECHD_ADDRESS.
    std::string address() const;

    // The daemon. Its synthesisers are its own children and end with it.
    ChildProcess& process() { return *daemon; }
    void kill() { daemon->kill(); }
    void restart();

private:
    void writeConfiguration() const;
    void start();

    const std::string sound;
    const std::string module;
    const int rate;
    TemporaryFolder folder;
    std::unique_ptr<ChildProcess> daemon;
};

} // namespace tavik
