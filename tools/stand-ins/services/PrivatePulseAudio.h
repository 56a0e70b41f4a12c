#pragma once

#include "tools/stand-ins/services/PrivateSoundServer.h"

#include <memory>

namespace tavik {

class PrivatePulseAudio : public PrivateSoundServer {
public:
    // Throws std::runtime_error when it does not come up within ten seconds.
    PrivatePulseAudio();

    ChildProcess& process() { return *daemon; }
    void kill() override { daemon->kill(); }
    void restart() override;

private:
    void start();

    std::unique_ptr<ChildProcess> daemon;
};

} // namespace tavik
