#include "tools/stand-ins/services/PrivatePipeWire.h"

#include <chrono>
#include <filesystem>
#include <stdexcept>
#include <thread>

namespace tavik {

namespace {

using namespace std::chrono_literals;
using std::chrono::steady_clock;

constexpr auto startPatience = 10s;

void awaitFile(const std::string& path) {
    const auto deadline = steady_clock::now() + startPatience;
    while (!std::filesystem::exists(path)) {
        if (steady_clock::now() > deadline)
            throw std::runtime_error("the private PipeWire did not start: no " + path);
        std::this_thread::sleep_for(10ms);
    }
}

} // namespace

PrivatePipeWire::PrivatePipeWire()
    : PrivateSoundServer("pulse/native")
    , core(run({"pipewire"})) {
    awaitFile(folder.file("pipewire-0"));
    // It ends without a bus.
    sessionManager = run({"dbus-run-session", "--", "wireplumber"});
    startPulseService();
}

void PrivatePipeWire::restart() {
    kill();
    startPulseService();
}

void PrivatePipeWire::startPulseService() {
    std::filesystem::remove(socket);
    pulseService = run({"pipewire-pulse"});
    awaitFile(socket);
    loadModule("module-null-sink",
               {"sink_name=speaker", "sink_properties=device.description=Speaker"});
    loadModule("module-null-sink", {"sink_name=microphone-feed"});
    loadModule("module-remap-source", {"source_name=microphone", "master=microphone-feed.monitor",
                                       "source_properties=device.description=Microphone"});
    awaitDefaults(*pulseService);
}

std::unique_ptr<ChildProcess>
PrivatePipeWire::run(const std::vector<std::string>& arguments) const {
    return std::make_unique<ChildProcess>(ChildProcess::Command{
        .arguments = arguments,
        .environment = {{"HOME", folder.path()},
                        {"XDG_RUNTIME_DIR", folder.path()},
                        {"PULSE_SERVER", std::nullopt},
                        {"DBUS_SESSION_BUS_ADDRESS", std::nullopt},
                        {"DISPLAY", std::nullopt}},
        .outputPath = log,
        .input = "",
    });
}

} // namespace tavik
