#pragma once

#include "tools/stand-ins/services/ChildProcess.h"
#include "tools/stand-ins/services/TemporaryFolder.h"

#include <memory>
#include <string>

namespace tavik {

// A session bus of our own.
class PrivateBus {
public:
    // What it starts when somebody calls a service that is not there.
    enum class Starts { servicesOfHomeAndMachine, nothing };

    // Throws std::runtime_error when it does not come up within ten seconds.
    explicit PrivateBus(Starts starts = Starts::servicesOfHomeAndMachine);

    // For DBUS_SESSION_BUS_ADDRESS.
    std::string address() const { return "unix:path=" + folder.file("bus"); }

    ChildProcess& process() { return *daemon; }
    // Starts it anew, at the same address.
    void restart();

private:
    TemporaryFolder folder;
    std::string configuration; // an argument of the daemon
    std::unique_ptr<ChildProcess> daemon;
};

} // namespace tavik
