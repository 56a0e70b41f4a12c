#include "tools/demo/SpeechService.h"

#include <cstdlib>
#include <filesystem>
#include <fmt/format.h>
#include <fstream>
#include <thread>

namespace tavik::demo {

namespace {

using namespace std::chrono_literals;
using std::chrono::steady_clock;

constexpr auto startPatience = 10s;
constexpr auto poll = 50ms;

constexpr const char* configuration = R"(LogLevel 1
LogDir "{0}/log"
DefaultLanguage "en-US"
DefaultVolume 100
AudioOutputMethod "pulse"
AudioPulseServer "{1}"
AudioPulseMinLength 10
AddModule "flite" "sd_flite" "flite.conf"
DefaultModule flite
)";

} // namespace

SpeechService::SpeechService(const std::string& pulseServer) {
    configure(pulseServer);
    const std::string socket = folder.file("speechd");
    daemon = std::make_unique<ChildProcess>(
        ChildProcess::Command{.arguments = {"speech-dispatcher", "-s", "-C", folder.file("conf"),
                                            "-L", folder.file("log"), "-P", folder.file("pid"),
                                            "-c", "unix_socket", "-S", socket, "-t", "0"},
                              .environment = {{"PULSE_SERVER", pulseServer}},
                              .outputPath = folder.file("output"),
                              .input = ""});
    setenv("SPEECHD_ADDRESS", ("unix_socket:" + socket).c_str(), 1);
    awaitVoice();
}

void SpeechService::configure(const std::string& pulseServer) const {
    std::filesystem::create_directories(folder.file("conf/modules"));
    std::filesystem::create_directories(folder.file("log"));
    std::ofstream(folder.file("conf/speechd.conf"))
        << fmt::format(fmt::runtime(configuration), folder.file(""), pulseServer);
    std::ofstream(folder.file("conf/modules/flite.conf")) << "Debug 0\n";
}

void SpeechService::awaitVoice() {
    const auto deadline = steady_clock::now() + startPatience;
    const auto client = makeSpeechDispatcher();
    while (daemon->isRunning() && steady_clock::now() < deadline) {
        try {
            for (const Voice& voice : client->voices())
                if (voice.identifier.starts_with("flite/")) {
                    voiceIdentifier = voice.identifier;
                    return;
                }
        } catch (const SpeechError&) {
            // Not up yet.
        }
        std::this_thread::sleep_for(poll);
    }
    throw std::runtime_error("speech-dispatcher does not speak with flite (on Debian: package "
                             "speech-dispatcher-flite)");
}

} // namespace tavik::demo
