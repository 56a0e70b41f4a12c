#pragma once

#include "voice/VoiceState.h"

#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>
#include <stop_token>
#include <string>
#include <thread>

namespace tavik {

// Has the microphone front-end built anew, on a thread of its own: when the route has changed and
// been quiet for a while, when the recording ended by itself, and when no sound ever came, which is
// tried a few times before the microphone is given up. All methods return at once, but for `stop`,
// and may be called from any thread.
class MicrophoneWatchdog {
public:
    // Called on the watchdog's thread.
    struct FrontEnd {
        // Throws MicrophoneError and Cancelled.
        std::function<void(std::stop_token)> rebuild;
        std::function<bool(std::stop_token)> routeIsUnchanged; // throws Cancelled
        // Nothing more is tried; with the message for the user.
        std::function<void(const std::string&)> failed;
    };

    MicrophoneWatchdog(Clock& clock, SharedVoiceState& state, FrontEnd frontEnd);

    void start();
    void stop();

    void routeChanged();
    void captureLost();
    // The front-end was built: sound has to come soon.
    void arm();

private:
    enum class Due { nothing, settledRoute, silence };

    void watch(std::stop_token stop);
    Due awaitDue(const std::stop_token& stop);
    void scheduleRebind(bool isLost);
    void onRouteSettled(std::stop_token stop);
    void onSilence(std::stop_token stop);

    Clock& clock;
    SharedVoiceState& state;
    const FrontEnd frontEnd;

    std::mutex mutex;
    std::condition_variable_any changed;
    std::optional<Clock::Instant> rebindAt; // guarded by mutex; when the route has been quiet
    std::optional<Clock::Instant> silentAt; // guarded by mutex; when a silent front-end is given up
    bool isCaptureLost = false;             // guarded by mutex

    std::jthread watcher; // last: it uses all of the above
};

} // namespace tavik
