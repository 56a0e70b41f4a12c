#pragma once

#include "platform/audio/AudioServer.h"

#include <memory>
#include <pulse/pulseaudio.h>

namespace tavik {

class PulseConnection;

// A recording stream. Keeps its connection alive.
class PulseCapture : public AudioCapture {
public:
    // Starts recording. Throws AudioError when the server refuses or does not answer, and
    // Cancelled. Not to be called on the server thread, nor with the lock held.
    PulseCapture(std::shared_ptr<PulseConnection> connection, const AudioDevice& device,
                 AudioServer::Tap tap, AudioServer::Ended ended, const std::stop_token& stop);
    ~PulseCapture() override;
    PulseCapture(const PulseCapture&) = delete;
    PulseCapture& operator=(const PulseCapture&) = delete;

    AudioFormat format() const override { return captured; }

private:
    static void onState(pa_stream* stream, void* self);
    static void onSuspended(pa_stream* stream, void* self);
    static void onSamples(pa_stream* stream, std::size_t bytes, void* self);

    void open(const AudioDevice& device, const std::stop_token& stop);
    void release();
    void end(const std::string& why);
    std::string reason() const;
    std::string refusal() const;
    void deliver(const void* data, std::size_t bytes);

    std::shared_ptr<PulseConnection> connection;
    const AudioFormat captured;
    const AudioServer::Tap tap;
    const AudioServer::Ended ended;
    std::vector<float> silence; // stands in for holes in the stream
    bool isRunning = false;     // used on the server thread, or with its lock held
    pa_stream* stream = nullptr;
};

} // namespace tavik
