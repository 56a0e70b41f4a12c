// What waiting for the wake phrase costs: the program's share of one core and its resident memory,
// with a microphone that hears a quiet room, so that the wake model is asked at every poll; and
// with digital silence, where it is not.

#include "bench/FreshHome.h"
#include "tools/stand-ins/services/ChildProcess.h"
#include "tools/stand-ins/services/PrivatePulseAudio.h"

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fmt/format.h>
#include <fstream>
#include <iterator>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <thread>
#include <unistd.h>

namespace {

using namespace tavik;
using namespace std::chrono_literals;
using std::chrono::steady_clock;

std::string contentOf(const std::string& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

double cpuSeconds(pid_t process) {
    std::istringstream fields(contentOf(fmt::format("/proc/{}/stat", process)));
    std::string field;
    double ticks = 0;
    for (int number = 1; number <= 15 && fields >> field; ++number)
        if (number >= 14) // user and system time
            ticks += std::stod(field);
    return ticks / static_cast<double>(sysconf(_SC_CLK_TCK));
}

double residentMegabytes(pid_t process) {
    std::istringstream fields(contentOf(fmt::format("/proc/{}/statm", process)));
    double total = 0;
    double resident = 0;
    fields >> total >> resident;
    return resident * static_cast<double>(sysconf(_SC_PAGESIZE)) / 1e6;
}

void waitUntilReady(const std::string& output) {
    const auto deadline = steady_clock::now() + 30s;
    while (contentOf(output).find("Tavik ready.") == std::string::npos) {
        if (steady_clock::now() > deadline)
            throw std::runtime_error("tavik did not get ready:\n" + contentOf(output));
        std::this_thread::sleep_for(100ms);
    }
}

double shareOfACore(pid_t process, std::chrono::seconds time) {
    const double before = cpuSeconds(process);
    std::this_thread::sleep_for(time);
    return (cpuSeconds(process) - before) / static_cast<double>(time.count());
}

void run(const FreshHome& home, const std::string& program) {
    PrivatePulseAudio sound;
    std::filesystem::create_directories(home.file("Library/Preferences"));
    std::ofstream(home.file("Library/Preferences/ai.tavik.json")) << R"({"onboardingDone": true})";
    ChildProcess tavik({.arguments = {program},
                        .environment = {{"PULSE_SERVER", sound.server()}},
                        .outputPath = home.file("output"),
                        .input = ""});
    waitUntilReady(home.file("output"));
    std::this_thread::sleep_for(2s);
    const double silent = shareOfACore(tavik.pid(), 15s);
    // A faint tone: loud enough to be looked at, and never the phrase.
    sound.loadModule("module-sine", {"sink=microphone-feed", "frequency=180"});
    sound.pactl({"set-sink-volume", "microphone-feed", "10%"});
    std::this_thread::sleep_for(2s);
    const double noisy = shareOfACore(tavik.pid(), 15s);
    std::printf("waiting, silent microphone %7.2f %% of one core\n", 100 * silent);
    std::printf("waiting, room to listen to %7.2f %% of one core, five looks a second\n",
                100 * noisy);
    std::printf("resident memory            %7.1f MB\n", residentMegabytes(tavik.pid()));
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "Usage: bench_idle TAVIK\n");
        return 2;
    }
    const FreshHome home;
    run(home, argv[1]);
    return 0;
}
