#pragma once

#include "platform/audio/AudioServer.h"

#include <atomic>
#include <mutex>

namespace tavik {

// A sound server in memory: the test plays into the captures that are open.
class FakeAudioServer : public AudioServer {
public:
    std::vector<AudioDevice> devices = {{1, "mic.one", "Desk microphone", {16000, 1}},
                                        {2, "mic.two", "Headset", {16000, 1}}};
    std::atomic<std::uint32_t> defaultID = 1;
    bool confirmsDefault = true;
    std::atomic<bool> isDown = false;

    // What the loop does with the sounds it plays.
    std::function<void(const std::string& name, double volume)> onSound = [](const std::string&,
                                                                             double) {};

    // Called before the default input is told.
    std::function<void()> onDefaultAsked = [] {};

    // Called while a capture is being opened.
    std::function<void()> onOpening = [] {};

    // Deliver samples to the microphone, and to what records the loudspeaker, if open.
    void play(std::span<const float> samples) { deliver(&FakeAudioServer::open, samples); }
    void playLoudspeaker(std::span<const float> samples) {
        deliver(&FakeAudioServer::openMonitor, samples);
    }

    void endCapture(const std::string& reason) {
        Ended ended;
        {
            const std::lock_guard lock(mutex);
            if (open)
                ended = open->ended;
        }
        if (ended)
            ended(reason);
    }

    void changeRoute() {
        const std::lock_guard lock(mutex);
        if (routeChanged)
            routeChanged();
    }

    std::string openedDevice() {
        const std::lock_guard lock(mutex);
        return open ? open->device : "";
    }

    // How many recordings go on.
    int openCaptures() {
        const std::lock_guard lock(mutex);
        return (open ? 1 : 0) + (openMonitor ? 1 : 0);
    }

    // How often the microphone was opened.
    int opens() {
        const std::lock_guard lock(mutex);
        return openCount;
    }

    std::vector<AudioDevice> inputs(std::stop_token) override { return answer(devices); }

    std::optional<AudioDevice> defaultInput(std::stop_token) override {
        onDefaultAsked();
        for (const AudioDevice& device : answer(devices))
            if (device.id == defaultID)
                return device;
        return std::nullopt;
    }

    std::optional<AudioDevice> defaultOutput(std::stop_token) override {
        return answer(AudioDevice{9, "speaker", "Speaker", {16000, 1}});
    }

    bool setDefaultInputConfirmed(const AudioDevice& device, std::stop_token) override {
        if (confirmsDefault)
            defaultID = device.id;
        return confirmsDefault;
    }

    std::unique_ptr<AudioCapture> openCapture(const AudioDevice& device, Tap tap, Ended ended,
                                              std::stop_token) override {
        answer(0);
        onOpening();
        const std::lock_guard lock(mutex);
        return std::make_unique<Capture>(*this, device, std::move(tap), std::move(ended));
    }

    void playSound(const ShortSound& sound, double volume, std::stop_token) override {
        onSound(sound.name, volume);
    }

    void watchRoutes(std::function<void()> changed, std::stop_token) override {
        const std::lock_guard lock(mutex);
        routeChanged = std::move(changed);
    }

private:
    struct Capture : AudioCapture {
        Capture(FakeAudioServer& owner, const AudioDevice& recorded, Tap onSamples, Ended onEnd)
            : server(owner)
            , device(recorded.identifier)
            , captured(recorded.format)
            , tap(std::move(onSamples))
            , ended(std::move(onEnd)) {
            if (device.ends_with(".monitor"))
                server.openMonitor = this;
            else {
                server.open = this;
                ++server.openCount;
            }
        }
        ~Capture() override {
            const std::lock_guard lock(server.mutex);
            for (Capture* FakeAudioServer::*place :
                 {&FakeAudioServer::open, &FakeAudioServer::openMonitor})
                if (server.*place == this)
                    server.*place = nullptr;
        }
        AudioFormat format() const override { return captured; }

        FakeAudioServer& server;
        std::string device;
        AudioFormat captured;
        Tap tap;
        Ended ended;
    };

    void deliver(Capture* FakeAudioServer::*place, std::span<const float> samples) {
        const std::lock_guard lock(mutex);
        if (const Capture* capture = this->*place)
            capture->tap(samples, capture->captured);
    }

    template<typename Answer>
    Answer answer(Answer value) const {
        if (isDown)
            throw AudioError("the sound server does not answer");
        return value;
    }

    std::mutex mutex;
    Capture* open = nullptr;            // guarded by mutex; of the microphone
    Capture* openMonitor = nullptr;     // guarded by mutex; of the loudspeaker
    int openCount = 0;                  // guarded by mutex
    std::function<void()> routeChanged; // guarded by mutex
};

} // namespace tavik
