#include "tools/stand-ins/services/PrivatePulseAudio.h"

namespace tavik {

PrivatePulseAudio::PrivatePulseAudio()
    : PrivateSoundServer("pulse") {
    start();
}

void PrivatePulseAudio::restart() {
    kill();
    start();
}

void PrivatePulseAudio::start() {
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
                      "module-native-protocol-unix auth-anonymous=1 socket=" + socket, "-L",
                      speaker, "-L", "module-null-sink sink_name=microphone-feed norewinds=1", "-L",
                      microphone},
        .environment = {{"HOME", folder.path()},
                        {"XDG_RUNTIME_DIR", folder.path()},
                        {"PULSE_RUNTIME_PATH", folder.path()},
                        {"PULSE_STATE_PATH", folder.path()},
                        {"PULSE_SERVER", std::nullopt},
                        {"DBUS_SESSION_BUS_ADDRESS", std::nullopt},
                        {"DISPLAY", std::nullopt}},
        .outputPath = log,
        .input = "",
    });
    awaitDefaults(*daemon);
}

} // namespace tavik
