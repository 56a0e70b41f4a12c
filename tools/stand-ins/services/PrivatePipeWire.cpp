#include "tools/stand-ins/services/PrivatePipeWire.h"

#include "tools/stand-ins/services/AwaitStart.h"

#include <filesystem>

namespace tavik {

PrivatePipeWire::PrivatePipeWire()
    : PrivateSoundServer("pulse/native")
    , core(run({"pipewire"})) {
    awaitSocket(*core, folder.file("pipewire-0"));
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
    awaitSocket(*pulseService, socket);
    loadModule("module-null-sink",
               {"sink_name=speaker", "sink_properties=device.description=Speaker"});
    loadModule("module-null-sink", {"sink_name=microphone-feed"});
    loadModule("module-remap-source", {"source_name=microphone", "master=microphone-feed.monitor",
                                       "source_properties=device.description=Microphone"});
    awaitDefaults(*pulseService);
}

void PrivatePipeWire::awaitSocket(ChildProcess& server, const std::string& path) const {
    awaitStart("PipeWire", server, log, [&] { return std::filesystem::exists(path); });
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
