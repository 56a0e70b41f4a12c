#include "app/SignalForensics.h"

#include "app/Paths.h"
#include "platform/concurrency/Locked.h"
#include "platform/files/AppendFile.h"

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fmt/chrono.h>
#include <fstream>
#include <memory>
#include <string_view>
#include <sys/signalfd.h>

namespace tavik {

namespace {

using SignalLog = Locked<std::unique_ptr<AppendFile>>;

SignalLog& signalLog() {
    static SignalLog file;
    return file;
}

// The sender may have ended by now.
std::string nameOf(unsigned process) {
    std::string name;
    std::getline(std::ifstream(fmt::format("/proc/{}/comm", process)), name);
    return name.empty() ? "unknown" : name;
}

std::string describe(const signalfd_siginfo& signal) {
    std::tm local{};
    const std::time_t now = std::time(nullptr);
    localtime_r(&now, &local);
    return fmt::format("[{:%F %T}] SIG{} from process {} ({}) of user {}\n", local,
                       sigabbrev_np(static_cast<int>(signal.ssi_signo)), signal.ssi_pid,
                       nameOf(signal.ssi_pid), signal.ssi_uid);
}

} // namespace

bool SignalForensics::isWanted() {
    const char* wanted = std::getenv("TAVIK_DEBUG_SIGNALS");
    return wanted && std::string_view(wanted) == "1";
}

void SignalForensics::install() {
    if (isWanted())
        signalLog().with([](auto& file) { file = std::make_unique<AppendFile>(signalLogPath()); });
}

void SignalForensics::record(const signalfd_siginfo& signal) {
    signalLog().with([&](auto& file) {
        if (file)
            file->append(describe(signal));
    });
}

} // namespace tavik
