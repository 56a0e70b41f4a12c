#include "tools/stand-ins/services/AwaitStart.h"

#include "tools/stand-ins/services/TemporaryFolder.h"

#include <chrono>
#include <fmt/format.h>
#include <stdexcept>
#include <thread>

namespace tavik {

namespace {

using namespace std::chrono_literals;

constexpr auto patience = 10s;
constexpr auto betweenLooks = 10ms;

} // namespace

void awaitStart(const std::string& service, ChildProcess& process, const std::string& log,
                const std::function<bool()>& isReady) {
    const auto deadline = std::chrono::steady_clock::now() + patience;
    while (!isReady()) {
        if (!process.isRunning() || std::chrono::steady_clock::now() > deadline)
            throw std::runtime_error(
                fmt::format("the private {} did not start: {}", service, readFile(log)));
        std::this_thread::sleep_for(betweenLooks);
    }
}

} // namespace tavik
