#include "voice/MicrophoneWatchdog.h"

#include "app/Log.h"
#include "platform/concurrency/Cancelled.h"
#include "platform/concurrency/ThreadName.h"
#include "voice/Microphone.h"

#include <algorithm>
#include <fmt/format.h>
#include <utility>

namespace tavik {

MicrophoneWatchdog::MicrophoneWatchdog(Clock& theClock, SharedVoiceState& sharedState,
                                       FrontEnd watched)
    : clock(theClock)
    , state(sharedState)
    , frontEnd(std::move(watched)) {}

void MicrophoneWatchdog::start() {
    watcher = std::jthread([this](std::stop_token stop) { watch(std::move(stop)); });
}

void MicrophoneWatchdog::stop() {
    watcher.request_stop();
    if (watcher.joinable())
        watcher.join();
}

void MicrophoneWatchdog::routeChanged() {
    scheduleRebind(false);
}

void MicrophoneWatchdog::captureLost() {
    scheduleRebind(true);
}

void MicrophoneWatchdog::scheduleRebind(bool isLost) {
    {
        const std::lock_guard lock(mutex);
        rebindAt = clock.now() + tuning::ROUTE_DEBOUNCE;
        isCaptureLost = isCaptureLost || isLost;
    }
    changed.notify_all();
}

void MicrophoneWatchdog::arm() {
    {
        const std::lock_guard lock(mutex);
        silentAt = clock.now() + tuning::WATCHDOG;
    }
    changed.notify_all();
}

void MicrophoneWatchdog::watch(std::stop_token stop) {
    nameThisThread("ai.tavik.route");
    try {
        while (true) {
            const Due due = awaitDue(stop);
            if (due == Due::settledRoute)
                onRouteSettled(stop);
            else if (due == Due::silence)
                onSilence(stop);
        }
    } catch (const MicrophoneError& error) {
        frontEnd.failed(error.what());
    } catch (const Cancelled&) {
        // The loop stops; so does the watching.
    }
}

MicrophoneWatchdog::Due MicrophoneWatchdog::awaitDue(const std::stop_token& stop) {
    std::unique_lock lock(mutex);
    const auto distant = clock.now() + std::chrono::hours(24);
    const auto next = std::min(rebindAt.value_or(distant), silentAt.value_or(distant));
    clock.waitUntil(lock, changed, stop, next, [&] {
        return std::min(rebindAt.value_or(distant), silentAt.value_or(distant)) != next;
    });
    const auto now = clock.now();
    if (rebindAt && now >= *rebindAt) {
        rebindAt.reset();
        return Due::settledRoute;
    }
    if (silentAt && now >= *silentAt) {
        silentAt.reset();
        return Due::silence;
    }
    return Due::nothing;
}

void MicrophoneWatchdog::onRouteSettled(std::stop_token stop) {
    const bool isLost = [this] {
        const std::lock_guard lock(mutex);
        return std::exchange(isCaptureLost, false);
    }();
    if (!isLost && frontEnd.routeIsUnchanged(stop))
        return;
    log("[mic] audio route changed — rebinding the audio front-end");
    try {
        frontEnd.rebuild(std::move(stop));
    } catch (const MicrophoneError&) {
        log("[mic] ⚠ rebind failed — stopping the loop (error already reported)");
        throw;
    }
    log("[mic] rebound — session preserved");
}

void MicrophoneWatchdog::onSilence(std::stop_token stop) {
    const int count = state.with([](VoiceState& shared) {
        shared.micRetryCount = shared.everReceivedTap ? 0 : shared.micRetryCount + 1;
        return shared.micRetryCount;
    });
    if (count == 0)
        return;
    if (count > tuning::SILENT_RETRIES) {
        log(fmt::format("[mic] ⚠ FATAL: engine running but the tap never fired in 5s after {} "
                        "silent retries — device is not delivering audio",
                        tuning::SILENT_RETRIES));
        throw MicrophoneError("The microphone isn't delivering any audio. Try another input device "
                              "in Settings.");
    }
    log(fmt::format("[mic] no audio after 5s (silent retry {}/{}) — rebuilding the audio front-end",
                    count, tuning::SILENT_RETRIES));
    try {
        frontEnd.rebuild(std::move(stop));
    } catch (const MicrophoneError&) {
        log("[mic] ⚠ silent retry failed to even start — surfacing the error");
        throw;
    }
}

} // namespace tavik
