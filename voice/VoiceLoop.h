#pragma once

#include "voice/VoiceServices.h"
#include "voice/VoiceState.h"

#include <atomic>
#include <memory>
#include <stop_token>
#include <string>
#include <thread>
#include <vector>

namespace tavik {

struct Ears;
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
    void run(std::stop_source loop);
    void work(std::stop_source loop);
    bool prepareEars();
    void announce(std::stop_token stop);
    void listen(std::stop_token stop);
    bool wakes();
    void forgetWhatWasHeard();
    void runSession(Task<bool>* verify, std::stop_token stop);
    void reportIdle();

    const VoiceServices services;
    const VoiceCallbacks callbacks;
    SharedVoiceState state;
    // Used by the loop's thread only: what hears, loaded at the first start, and copies of the
    // rings, kept so that a look at them allocates nothing.
    std::unique_ptr<Ears> ears;
    std::vector<float> wakeWindow;
    std::vector<float> verifyWindow;

    std::atomic<bool> running = false;
    Locked<std::string> failure; // of the microphone; for the user
    std::stop_source loopStop{std::nostopstate};
    std::thread loopTask;
};

} // namespace tavik
