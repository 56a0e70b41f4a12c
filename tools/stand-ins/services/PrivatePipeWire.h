#pragma once

#include "tools/stand-ins/services/PrivateSoundServer.h"

#include <memory>

namespace tavik {

// PipeWire with its session manager, serving PulseAudio's clients.
class PrivatePipeWire : public PrivateSoundServer {
public:
    // Throws std::runtime_error when it does not come up within ten seconds.
    PrivatePipeWire();

    // PulseAudio's clients lose their server; the rest of PipeWire lives on, as it does when its
    // user restarts that service.
    void kill() override { pulseService->kill(); }
    void restart() override;

private:
    std::unique_ptr<ChildProcess> run(const std::vector<std::string>& arguments) const;
    void startPulseService();
    void awaitSocket(ChildProcess& server, const std::string& path) const;

    std::unique_ptr<ChildProcess> core;
    std::unique_ptr<ChildProcess> sessionManager;
    std::unique_ptr<ChildProcess> pulseService;
};

} // namespace tavik
