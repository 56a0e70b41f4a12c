#include "app/HeadlessApp.h"

#include "app/InstanceChannel.h"
#include "app/Log.h"
#include "app/Paths.h"
#include "app/SignalForensics.h"
#include "app/TavikApp.h"
#include "platform/concurrency/Cancelled.h"
#include "platform/concurrency/Clock.h"
#include "platform/concurrency/MainQueue.h"
#include "platform/defaults/UserDefaults.h"

#include <thread>

namespace tavik {

namespace {

using namespace std::chrono_literals;

constexpr auto settingsPoll = 1s;
constexpr auto retryPause = 5s;

bool isOnboardingDone() {
    return UserDefaults::standard().boolean("onboardingDone").value_or(false);
}

// Starts the loop when listening is switched on, and again after a failure: without a menu nobody
// else could choose to retry.
void keepListening(AppState& state, std::stop_token stop) {
    try {
        if (!isOnboardingDone())
            log("Listening is off. To switch it on without a window, write {\"onboardingDone\": "
                "true} into " +
                preferencesPath() + ".");
        while (!isOnboardingDone())
            systemClock().sleepFor(settingsPoll, stop);
        while (true) {
            MainQueue::shared().async([&state] { state.startIfPossible(); });
            systemClock().sleepFor(retryPause, stop);
        }
    } catch (const Cancelled&) {
        // Quitting.
    }
}

} // namespace

void runHeadless() {
    TavikApp app;
    const InstanceChannel channel([](const std::string&) {
        log("[single-instance] started again, but there is no window to show");
    });
    const std::jthread keeper(
        [&](std::stop_token stop) { keepListening(app.state(), std::move(stop)); });
    SignalForensics::install();
    MainQueue::shared().runLoop();
}

} // namespace tavik
