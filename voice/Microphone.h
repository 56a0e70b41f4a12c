#pragma once

#include "platform/audio/AudioServer.h"
#include "platform/concurrency/Clock.h"
#include "voice/VoiceServices.h"
#include "voice/VoiceState.h"

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

namespace tavik {

class Resampler;

// The microphone front-end: records the chosen input, feeds the rings or the command in progress,
// and rebuilds itself when the route changes, the device disappears or nothing arrives. A thread of
// its own does the watching and the rebuilding.
class Microphone {
public:
    // `failed` is called once, from that thread, when it gives up; the error phase was reported
    // before.
    Microphone(const VoiceServices& services, const VoiceCallbacks& callbacks,
               SharedVoiceState& state, std::function<void()> failed);
    ~Microphone();
    Microphone(const Microphone&) = delete;
    Microphone& operator=(const Microphone&) = delete;

    // Opens the device and starts watching. False on failure, which was reported as phase `error`.
    // Throws Cancelled.
    bool start(std::stop_token stop);

private:
    // A device that is being recorded.
    struct Engine;

    bool buildEngine(std::stop_token stop);
    AudioDevice chooseInput(std::stop_token stop);
    AudioDevice savedInput(const std::string& name, std::stop_token stop);
    AudioDevice defaultInput();
    void open(const AudioDevice& device);
    void handleTap(Engine& owner, std::span<const float> samples);

    void watch(std::stop_token stop);
    // Both tell whether the front-end is still alive.
    bool onRouteSettled(std::stop_token stop);
    bool onWatchdog(std::stop_token stop);
    bool rebindAudio(std::stop_token stop);
    bool routeIsUnchanged();
    void scheduleRebind(bool captureLost);

    const VoiceServices& services;
    const VoiceCallbacks& callbacks;
    SharedVoiceState& state;
    const std::function<void()> failed;

    // Used before the watching begins, and then only by the watching thread.
    std::unique_ptr<Engine> engine;
    std::optional<std::uint32_t> boundInputID;
    std::optional<std::uint32_t> boundOutputID;

    std::mutex mutex;
    std::condition_variable_any changed;
    std::optional<Clock::Instant> rebindAt; // guarded by mutex; when the route has been quiet
    std::optional<Clock::Instant> silentAt; // guarded by mutex; when a silent engine is given up
    bool captureLost = false;               // guarded by mutex

    std::jthread watcher; // last: it uses all of the above
};

} // namespace tavik
