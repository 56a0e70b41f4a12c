#include "app/SurviveSelfTest.h"

#include "app/Log.h"
#include "app/SignalForensics.h"
#include "app/TavikApp.h"
#include "app/Termination.h"
#include "platform/concurrency/Cancelled.h"
#include "platform/concurrency/Clock.h"
#include "platform/concurrency/MainQueue.h"

namespace tavik {

namespace {

constexpr std::chrono::seconds survival{60};

void waitAndQuit(std::stop_token stop) {
    try {
        systemClock().sleepFor(survival, std::move(stop));
    } catch (const Cancelled&) {
        return;
    }
    log("[selftest-survive] PASS — survived 60s without unexpected termination");
    requestQuit();
}

} // namespace

void runSurviveSelfTest() {
    log("[selftest-survive] booting normally, verifying survival for 60s…");
    const TavikApp app(TavikApp::WithUpdater::no);
    SignalForensics::install();
    const Task<void> watch(waitAndQuit);
    MainQueue::shared().runLoop();
}

} // namespace tavik
