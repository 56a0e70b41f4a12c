#include "tools/stand-ins/services/PrivateBus.h"

#include "tools/stand-ins/services/AwaitStart.h"

#include <cstdlib>
#include <filesystem>

namespace tavik {

namespace {

// The address is always given on the command line, but the file has to name one.
constexpr auto withoutServices = R"(<busconfig>
<type>session</type><listen>unix:tmpdir=/tmp</listen><auth>EXTERNAL</auth>
<policy context="default">
<allow send_destination="*" eavesdrop="true"/><allow eavesdrop="true"/><allow own="*"/>
</policy>
</busconfig>)";

} // namespace

PrivateBus::PrivateBus(Starts starts) {
    writeFile(folder.file("without-services.conf"), withoutServices);
    configuration = starts == Starts::nothing
                        ? "--config-file=" + folder.file("without-services.conf")
                        : "--session";
    restart();
}

void PrivateBus::restart() {
    const std::string log = folder.file("log");
    daemon.reset();
    std::filesystem::remove(folder.file("bus"));
    std::filesystem::remove(log);
    daemon = std::make_unique<ChildProcess>(ChildProcess::Command{
        .arguments = {"dbus-daemon", configuration, "--nofork", "--nopidfile", "--nosyslog",
                      "--address=" + address(), "--print-address"},
        .environment = {{"DISPLAY", std::nullopt},
                        {"XDG_DATA_HOME", std::string(std::getenv("HOME")) + "/.local/share"},
                        {"XDG_DATA_DIRS", std::nullopt},
                        {"GSETTINGS_BACKEND", "memory"}},
        .outputPath = log,
        .input = "",
    });
    // The socket is there before anybody listens at it; the address comes out after that.
    awaitStart("bus", *daemon, log,
               [&] { return readFile(log).find(address()) != std::string::npos; });
}

} // namespace tavik
