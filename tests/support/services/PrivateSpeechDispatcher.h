#pragma once

#include "tests/support/services/ChildProcess.h"
#include "tests/support/services/ServiceFolder.h"

#include <memory>
#include <string>

namespace tavik {

// A speech service of our own that speaks with espeak-ng through the given sound server.
class PrivateSpeechDispatcher {
public:
    // How fast it speaks, in the service's own measure from -100 to 100.
    enum class Rate { normal = 0, hasty = 100 };

    // Throws std::runtime_error when it does not come up within ten seconds.
    explicit PrivateSpeechDispatcher(std::string pulseServer, Rate rate = Rate::normal);

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
    const Rate rate;
    ServiceFolder folder;
    std::unique_ptr<ChildProcess> daemon;
};

} // namespace tavik
