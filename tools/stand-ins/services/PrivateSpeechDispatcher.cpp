#include "tools/stand-ins/services/PrivateSpeechDispatcher.h"

#include "tools/stand-ins/services/AwaitStart.h"

#include <cstring>
#include <filesystem>
#include <fmt/format.h>
#include <fstream>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace tavik {

namespace {

// Of the folder, the sound server, the module and the rate.
constexpr const char* configuration = R"(LogLevel 1
LogDir "{0}/log"
DefaultLanguage "en-US"
DefaultVolume 100
DefaultRate {3}
AudioOutputMethod "pulse"
AudioPulseServer "{1}"
AudioPulseMinLength 10
AddModule "{2}" "sd_{2}" "{2}.conf"
DefaultModule {2}
)";

bool accepts(const std::string& path) {
    const int descriptor = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
    const bool connected =
        connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    close(descriptor);
    return connected;
}

} // namespace

PrivateSpeechDispatcher::PrivateSpeechDispatcher(std::string pulseServer, std::string moduleName,
                                                 int speakingRate)
    : sound(std::move(pulseServer))
    , module(std::move(moduleName))
    , rate(speakingRate) {
    writeConfiguration();
    start();
}

std::string PrivateSpeechDispatcher::address() const {
    return "unix_socket:" + folder.file("speechd");
}

void PrivateSpeechDispatcher::writeConfiguration() const {
    std::filesystem::create_directories(folder.file("conf/modules"));
    std::filesystem::create_directories(folder.file("log"));
    std::ofstream(folder.file("conf/speechd.conf"))
        << fmt::format(fmt::runtime(configuration), folder.path(), sound, module, rate);
    std::ofstream(folder.file("conf/modules/" + module + ".conf")) << "Debug 0\n";
}

void PrivateSpeechDispatcher::restart() {
    kill();
    start();
}

void PrivateSpeechDispatcher::start() {
    std::filesystem::remove(folder.file("speechd"));
    daemon = std::make_unique<ChildProcess>(ChildProcess::Command{
        .arguments = {"speech-dispatcher", "-s", "-C", folder.file("conf"), "-L",
                      folder.file("log"), "-P", folder.file("pid"), "-c", "unix_socket", "-S",
                      folder.file("speechd"), "-t", "0"},
        .environment = {{"HOME", folder.path()},
                        {"XDG_RUNTIME_DIR", folder.path()},
                        {"PULSE_SERVER", sound},
                        {"SPEECHD_ADDRESS", std::nullopt},
                        {"DBUS_SESSION_BUS_ADDRESS", std::nullopt}},
        .outputPath = folder.file("output"),
        .input = "",
    });
    awaitStart("speech service", *daemon, folder.file("output"),
               [this] { return accepts(folder.file("speechd")); });
}

} // namespace tavik
