#include "tools/stand-ins/services/PrivateDisplay.h"

#include "tools/stand-ins/services/AwaitStart.h"

#include <filesystem>

namespace tavik {

PrivateDisplay::PrivateDisplay() {
    startServer();
}

// The server chooses a free number and writes it down. Without "-noreset" it would forget
// everything when its last client leaves.
void PrivateDisplay::startServer() {
    const std::string number = folder.file("number");
    serverProcess = std::make_unique<ChildProcess>(ChildProcess::Command{
        .arguments = {"sh", "-c",
                      "exec Xvfb -displayfd 3 -screen 0 800x600x24 -nolisten tcp -noreset 3>\"$0\"",
                      number},
        .environment = {{"HOME", folder.path()}},
        .outputPath = folder.file("server.log"),
        .input = "",
    });
    displayName = ":" + lineIn(number, *serverProcess, folder.file("server.log"));
}

void PrivateDisplay::startWindowManager() {
    const std::string sign = folder.file("managing");
    std::filesystem::remove(sign);
    managerProcess = std::make_unique<ChildProcess>(ChildProcess::Command{
        .arguments = {"openbox", "--sm-disable", "--startup", "sh -c 'echo yes >" + sign + "'"},
        .environment = {{"HOME", folder.path()},
                        {"DISPLAY", displayName},
                        {"XDG_CONFIG_HOME", std::nullopt},
                        {"XDG_CONFIG_DIRS", std::nullopt},
                        {"XDG_CACHE_HOME", std::nullopt},
                        {"XDG_DATA_HOME", std::nullopt},
                        {"XDG_DATA_DIRS", std::nullopt}},
        .outputPath = folder.file("manager.log"),
        .input = "",
    });
    lineIn(sign, *managerProcess, folder.file("manager.log"));
}

std::string PrivateDisplay::lineIn(const std::string& path, ChildProcess& writer,
                                   const std::string& log) {
    std::string content;
    awaitStart("display", writer, log, [&] {
        content = readFile(path);
        return content.ends_with('\n');
    });
    content.pop_back();
    return content;
}

} // namespace tavik
