#pragma once

#include "app/HotkeyManager.h"
#include "platform/concurrency/MainJobs.h"
#include "voice/VoiceLoop.h"

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <thread>

namespace tavik {

// What the menu, the orb and the windows show and command: whether Tavik listens, what it is doing,
// and what it has to tell. Belongs to the main thread, where its observers are called as well, as
// jobs of the main queue.
class AppState {
public:
    enum class Listening { off, on, paused };

    struct Observers {
        std::function<void()> changed = [] {}; // the phase, or whether it listens
        std::function<void(const std::string&)> noticed = [](const std::string&) {};
    };

    // The services outlive the state. Without `shortcuts` there is no hotkey.
    explicit AppState(VoiceServices services, std::unique_ptr<GlobalShortcuts> shortcuts = nullptr);
    ~AppState();
    AppState(const AppState&) = delete;
    AppState& operator=(const AppState&) = delete;

    void observe(Observers watching) { observers = std::move(watching); }

    // Creates what listens, and registers the hotkey. Nothing listens yet.
    void boot();

    // Starts listening when the user has been through the first steps and has not switched it off
    // since. Again after a failure; nothing while it listens.
    void startIfPossible();

    // What the user chooses. Stopping takes some 50 ms.
    void startListening();
    void stopListening();
    void pauseListening(Clock::Duration duration); // it then goes on by itself
    void retry();                                  // after a failure
    void restartListening();                       // with another microphone, if it listens
    // The hotkey, and a click on the orb.
    void triggerSession();
    void cancelSession();

    // A passing sentence for the user, which is logged as well. From any thread.
    void notify(const std::string& sentence);
    // The same without the log, on the main thread.
    void showNotice(const std::string& sentence);

    HotkeyManager& hotkey() { return hotkeyManager; }
    UserDefaults& defaults() { return services.defaults; }
    Listening listening() const { return wanted; }
    const TavikPhase& phase() const { return currentPhase; }
    // The last one; empty when there was none, or listening has begun since.
    const std::string& notice() const { return lastNotice; }
    // Of the microphone, linear amplitude; for the orb. From any thread.
    float level() const { return latestLevel; }

private:
    VoiceCallbacks callbacks();
    void listen(Listening choice);
    void showPhase(const TavikPhase& phase);

    const VoiceServices services;
    Observers observers;
    Listening wanted = Listening::on;
    TavikPhase currentPhase;
    std::string lastNotice;
    std::atomic<float> latestLevel = 0;
    MainJobs onMain;
    HotkeyManager hotkeyManager;
    std::jthread pause;
    std::unique_ptr<VoiceLoop> loop; // last: it uses the above
};

} // namespace tavik
