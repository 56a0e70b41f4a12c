#include "app/SignalForensics.h"

#include "app/Paths.h"
#include "platform/concurrency/Locked.h"
#include "platform/files/AppendFile.h"
#include "platform/text/Environment.h"

#include <cstring>
#include <ctime>
#include <fmt/chrono.h>
#include <fstream>
#include <memory>
#include <string_view>

namespace tavik {

namespace {

using SignalLog = Locked<std::unique_ptr<AppendFile>>;

SignalLog& signalLog() {
    static SignalLog file;
    return file;
}

// The sender may have ended by now.
std::string nameOf(pid_t process) {
    std::string name;
    std::getline(std::ifstream(fmt::format("/proc/{}/comm", process)), name);
    return name.empty() ? "unknown" : name;
}

std::string describe(const siginfo_t& signal) {
    std::tm local{};
    const std::time_t now = std::time(nullptr);
    localtime_r(&now, &local);
    return fmt::format("[{:%F %T}] SIG{} from process {} ({}) of user {}\n", local,
                       sigabbrev_np(signal.si_signo), signal.si_pid, nameOf(signal.si_pid),
                       signal.si_uid);
}

} // namespace

bool SignalForensics::isWanted() {
    return environmentValue("TAVIK_DEBUG_SIGNALS") == "1";
}

void SignalForensics::install() {
    if (isWanted())
        signalLog().with([](auto& file) { file = std::make_unique<AppendFile>(signalLogPath()); });
}

void SignalForensics::record(const siginfo_t& signal) {
    signalLog().with([&](auto& file) {
        if (file)
            file->append(describe(signal));
    });
}

} // namespace tavik
