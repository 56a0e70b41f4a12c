#include "tools/stand-ins/services/PrivatePulseAudio.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <thread>

namespace tavik {

namespace {

using namespace std::chrono_literals;
using std::chrono::steady_clock;

constexpr auto startPatience = 10s;
constexpr auto commandPatience = 10s;

std::string contentOf(const std::string& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

} // namespace

PrivatePulseAudio::PrivatePulseAudio() {
    start();
}

std::string PrivatePulseAudio::server() const {
    return "unix:" + folder.file("pulse");
}

void PrivatePulseAudio::restart() {
    kill();
    start();
}

void PrivatePulseAudio::start() {
    const std::string home = folder.file("");
    const std::string speaker = "module-null-sink sink_name=speaker norewinds=1 "
                                "sink_properties=device.description=Speaker";
    const std::string microphone =
        "module-remap-source source_name=microphone master=microphone-feed.monitor "
        "source_properties=device.description=Microphone";
    // With rewinds a null sink plays in blocks of two seconds, without in blocks of 50 ms.
    daemon = std::make_unique<ChildProcess>(ChildProcess::Command{
        .arguments = {"pulseaudio", "-n", "--daemonize=no", "--use-pid-file=no",
                      "--exit-idle-time=-1", "--disable-shm=yes", "--realtime=no",
                      "--high-priority=no", "-L",
                      "module-native-protocol-unix auth-anonymous=1 socket=" + folder.file("pulse"),
                      "-L", speaker, "-L", "module-null-sink sink_name=microphone-feed norewinds=1",
                      "-L", microphone},
        .environment = {{"HOME", home},
                        {"XDG_RUNTIME_DIR", home},
                        {"PULSE_RUNTIME_PATH", home},
                        {"PULSE_STATE_PATH", home},
                        {"PULSE_SERVER", std::nullopt},
                        {"DBUS_SESSION_BUS_ADDRESS", std::nullopt},
                        {"DISPLAY", std::nullopt}},
        .outputPath = folder.file("log"),
        .input = "",
    });
    const auto deadline = steady_clock::now() + startPatience;
    while (true) {
        try {
            pactl({"set-default-sink", "speaker"});
            pactl({"set-default-source", "microphone"});
            return;
        } catch (const std::runtime_error&) {
            if (!daemon->isRunning() || steady_clock::now() > deadline)
                throw std::runtime_error("the private sound server did not start: " +
                                         contentOf(folder.file("log")));
            std::this_thread::sleep_for(30ms);
        }
    }
}

std::string PrivatePulseAudio::pactl(const std::vector<std::string>& arguments) {
    const std::string output = folder.file("pactl");
    std::ofstream(output, std::ios::trunc).close();
    std::vector<std::string> command = {"pactl", "--server=" + server()};
    command.insert(command.end(), arguments.begin(), arguments.end());
    ChildProcess client(
        {.arguments = command, .environment = {}, .outputPath = output, .input = ""});
    const auto status = client.waitFor(commandPatience);
    if (status != 0)
        throw std::runtime_error("pactl failed: " + contentOf(output));
    return contentOf(output);
}

std::string PrivatePulseAudio::loadModule(const std::string& name,
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
