#include "tools/stand-ins/services/PrivateSoundServer.h"

#include "tools/stand-ins/services/AwaitStart.h"

#include <algorithm>
#include <stdexcept>

namespace tavik {

namespace {

using namespace std::chrono_literals;

constexpr auto commandPatience = 10s;

} // namespace

void PrivateSoundServer::awaitDefaults(ChildProcess& daemon) {
    awaitStart("sound server", daemon, log, [this] {
        try {
            pactl({"set-default-sink", "speaker"});
            pactl({"set-default-source", "microphone"});
            return true;
        } catch (const std::runtime_error&) {
            return false;
        }
    });
}

std::string PrivateSoundServer::pactl(const std::vector<std::string>& arguments) {
    const std::string output = folder.file("pactl");
    writeFile(output, "");
    std::vector<std::string> command = {"pactl", "--server=" + server()};
    command.insert(command.end(), arguments.begin(), arguments.end());
    ChildProcess client(
        {.arguments = command, .environment = {}, .outputPath = output, .input = ""});
    const auto status = client.waitFor(commandPatience);
    if (status != 0)
        throw std::runtime_error("pactl failed: " + readFile(output));
    return readFile(output);
}

std::string PrivateSoundServer::loadModule(const std::string& name,
                                           const std::vector<std::string>& arguments) {
    std::vector<std::string> command = {"load-module", name};
    command.insert(command.end(), arguments.begin(), arguments.end());
    std::string number = pactl(command);
    number.erase(std::remove(number.begin(), number.end(), '\n'), number.end());
    return number;
}

void playWav(const std::string& server, const std::string& sink, const std::string& path) {
    ChildProcess player({.arguments = {"paplay", "--server=" + server, "--device=" + sink,
                                       "--latency-msec=20", path},
                         .environment = {},
                         .outputPath = "",
                         .input = ""});
    if (player.waitFor(10min) != 0)
        throw std::runtime_error("the file could not be played: " + path);
}

} // namespace tavik
