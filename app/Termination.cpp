#include "app/Termination.h"

#include "app/Log.h"
#include "app/SignalForensics.h"
#include "platform/concurrency/MainQueue.h"

#include <array>
#include <cstdlib>
#include <execinfo.h>
#include <memory>

namespace tavik {

namespace {

constexpr int deepestStack = 64;

void logCallStack() {
    std::array<void*, deepestStack> frames{};
    const int count = backtrace(frames.data(), deepestStack);
    const std::unique_ptr<char*, decltype(&std::free)> names(
        backtrace_symbols(frames.data(), count), std::free);
    log("[terminate] applicationShouldTerminate — call stack:");
    for (int index = 0; names && index < count; ++index)
        log(std::string("[terminate]   ") + names.get()[index]);
}

} // namespace

void requestQuit() {
    if (SignalForensics::isWanted())
        logCallStack();
    MainQueue::shared().quit();
}

} // namespace tavik
