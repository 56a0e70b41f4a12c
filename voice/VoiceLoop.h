#pragma once

#include "voice/VoiceServices.h"
#include "voice/VoiceState.h"

#include <atomic>
#include <memory>
#include <stop_token>
#include <thread>
#include <vector>

namespace tavik {

class WakeDetector;
template<typename Result>
class Task;

// The program's main loop: waits for the wake phrase or the hotkey, holds a conversation, and waits
// again. `start`, `stop` and destruction belong to one thread, usually the main thread;
// `triggerSession` and `cancelSession` are safe from any.
class VoiceLoop {
public:
    VoiceLoop(VoiceServices services, VoiceCallbacks callbacks);
    ~VoiceLoop();
    VoiceLoop(const VoiceLoop&) = delete;
    VoiceLoop& operator=(const VoiceLoop&) = delete;

    // Begins to listen; nothing when it listens already. What fails is reported as phase `error`,
    // and the loop has then ended; `start` tries again.
    void start();

    enum class Report { no, yes };
    // Silences and ends everything and waits for the end. Reports phase `off` when asked to.
    void stop(Report report = Report::yes);

    // Whether the loop listens, or is about to.
    bool isRunning() const { return running; }

    // The hotkey: interrupts the conversation that is going on, else begins one.
    void triggerSession();

    // A click on the orb: ends the conversation at once.
    void cancelSession();

private:
    // What hears; loaded once, at the first start.
    struct Ears;

    void run(std::stop_source loop);
    bool prepareEars();
    void announce(std::stop_token stop);
    void listen(std::stop_token stop);
    bool wakes();
    void runSession(Task<bool>* verify, std::stop_token stop);
    void reportIdle();
    void cancelAgentTask();

    const VoiceServices services;
    const VoiceCallbacks callbacks;
    SharedVoiceState state;
    std::unique_ptr<Ears> ears; // used by the loop's thread only
    std::atomic<bool> running = false;
    std::stop_source loopStop{std::nostopstate};
    std::thread loopTask;
};

} // namespace tavik
