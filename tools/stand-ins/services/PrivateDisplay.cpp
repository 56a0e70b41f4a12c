#include "tools/stand-ins/services/PrivateDisplay.h"

#include <filesystem>
#include <stdexcept>
#include <thread>

namespace tavik {

namespace {

using namespace std::chrono_literals;
using std::chrono::steady_clock;

constexpr auto startPatience = 10s;

} // namespace

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
    displayName = ":" + lineIn(number, *serverProcess);
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
    lineIn(sign, *managerProcess);
}

std::string PrivateDisplay::lineIn(const std::string& path, ChildProcess& writer) const {
    const auto deadline = steady_clock::now() + startPatience;
    std::string content;
    while (!content.ends_with('\n')) {
        if (!writer.isRunning() || steady_clock::now() > deadline)
            throw std::runtime_error(
                "the private display did not start: " + readFile(folder.file("server.log")) +
                readFile(folder.file("manager.log")));
        std::this_thread::sleep_for(5ms);
        content = readFile(path);
    }
    content.pop_back();
    return content;
}

} // namespace tavik
