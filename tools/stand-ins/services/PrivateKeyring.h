#pragma once

#include "tools/stand-ins/services/ChildProcess.h"
#include "tools/stand-ins/services/PrivateBus.h"
#include "tools/stand-ins/services/TemporaryFolder.h"

#include <memory>
#include <string>
#include <vector>

namespace tavik {

// A session bus of our own with nothing on it but an unlocked keyring, in a home folder of its own.
// The bus starts no services: a keyring that was ended stays away until it is restarted.
class PrivateKeyring {
public:
    // Throws std::runtime_error when they do not come up within ten seconds each.
    PrivateKeyring();

    // For DBUS_SESSION_BUS_ADDRESS.
    std::string address() const { return sessionBus.address(); }

    ChildProcess& bus() { return sessionBus.process(); }
    ChildProcess& keyring() { return *keyringProcess; }
    // Starts the keyring again, unlocked and with what was stored; a bus that has ended, too.
    void restart();
    // Starts the service as where nobody has ever made a keyring; what was stored is lost.
    void restartAsNew();
    // Locks the keyring that secrets are stored in by default.
    void lock();

    // `secret-tool` with these arguments and input; returns what it printed. Throws
    // std::runtime_error when it fails, as it does when it finds nothing.
    std::string secretTool(const std::vector<std::string>& arguments,
                           const std::string& input = "");

    // Calls a method on the bus: its owner, path, name and arguments, as for `dbus-send`. Returns
    // the reply as that prints it. Throws std::runtime_error when the call fails.
    std::string call(const std::vector<std::string>& method);

private:
    void startKeyring(const std::vector<std::string>& options);
    std::string runTool(const std::vector<std::string>& command, const std::string& input);

    TemporaryFolder folder;
    PrivateBus sessionBus{PrivateBus::Starts::nothing};
    std::unique_ptr<ChildProcess> keyringProcess;
};

} // namespace tavik
