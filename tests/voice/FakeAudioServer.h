#pragma once

#include "platform/audio/AudioServer.h"

#include <mutex>

namespace tavik {

// A sound server in memory: the test plays into the capture that is open.
class FakeAudioServer : public AudioServer {
public:
    std::vector<AudioDevice> devices = {{1, "mic.one", "Desk microphone", {16000, 1}},
                                        {2, "mic.two", "Headset", {16000, 1}}};
    std::optional<std::uint32_t> defaultID = 1;
    bool confirmsDefault = true;
    bool isDown = false;

    // Delivers samples to the capture that is open, if any.
    void play(std::span<const float> samples) {
        const std::lock_guard lock(mutex);
        if (open && open->tap)
            open->tap(samples, open->captured);
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

    int opens() {
        const std::lock_guard lock(mutex);
        return openCount;
    }

    std::vector<AudioDevice> inputs() override { return answer(devices); }

    std::optional<AudioDevice> defaultInput() override {
        for (const AudioDevice& device : answer(devices))
            if (device.id == defaultID)
                return device;
        return std::nullopt;
    }

    std::optional<AudioDevice> defaultOutput() override {
        return answer(AudioDevice{9, "speaker", "Speaker", {48000, 2}});
    }

    bool setDefaultInputConfirmed(const AudioDevice& device, std::stop_token) override {
        if (confirmsDefault)
            defaultID = device.id;
        return confirmsDefault;
    }

    std::unique_ptr<AudioCapture> openCapture(const AudioDevice& device, Tap tap,
                                              Ended ended) override {
        answer(0);
        const std::lock_guard lock(mutex);
        ++openCount;
        return std::make_unique<Capture>(*this, device, std::move(tap), std::move(ended));
    }

    void watchRoutes(std::function<void()> changed) override {
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
            server.open = this;
        }
        ~Capture() override {
            const std::lock_guard lock(server.mutex);
            if (server.open == this)
                server.open = nullptr;
        }
        AudioFormat format() const override { return captured; }

        FakeAudioServer& server;
        std::string device;
        AudioFormat captured;
        Tap tap;
        Ended ended;
    };

    template<typename Answer>
    Answer answer(Answer value) const {
        if (isDown)
            throw AudioError("the sound server does not answer");
        return value;
    }

    std::mutex mutex;
    Capture* open = nullptr;            // guarded by mutex
    int openCount = 0;                  // guarded by mutex
    std::function<void()> routeChanged; // guarded by mutex
};

} // namespace tavik
