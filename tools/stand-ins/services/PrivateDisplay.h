#pragma once

#include "tools/stand-ins/services/ChildProcess.h"
#include "tools/stand-ins/services/TemporaryFolder.h"

#include <memory>
#include <string>

namespace tavik {

// An X server of our own that shows nothing, and a window manager for it once one is started.
class PrivateDisplay {
public:
    // Throws std::runtime_error when the server does not come up within ten seconds.
    PrivateDisplay();

    // For DISPLAY.
    const std::string& name() const { return displayName; }
    ChildProcess& server() { return *serverProcess; }

    // Returns when it manages windows. Throws std::runtime_error when that takes ten seconds.
    void startWindowManager();
    ChildProcess& windowManager() { return *managerProcess; }

private:
    void startServer();
    // The content of a file that is only complete with its line end.
    static std::string lineIn(const std::string& path, ChildProcess& writer,
                              const std::string& log);

    TemporaryFolder folder;
    std::string displayName;
    std::unique_ptr<ChildProcess> serverProcess;
    std::unique_ptr<ChildProcess> managerProcess;
};

} // namespace tavik
