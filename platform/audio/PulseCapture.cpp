#include "platform/audio/PulseCapture.h"

#include "platform/audio/PulseConnection.h"

#include <algorithm>

namespace tavik {

namespace {

constexpr std::uint32_t fragmentsASecond = 50; // 20 ms each
constexpr std::uint32_t asServerLikes = static_cast<std::uint32_t>(-1);

pa_sample_spec sampleSpecOf(const AudioFormat& format) {
    return {PA_SAMPLE_FLOAT32NE, format.sampleRate, static_cast<std::uint8_t>(format.channelCount)};
}

} // namespace

PulseCapture::PulseCapture(std::shared_ptr<PulseConnection> pulse, const AudioDevice& device,
                           AudioServer::Tap onFrames, AudioServer::Ended onEnded)
    : connection(std::move(pulse))
    , captured(device.format)
    , tap(std::move(onFrames))
    , ended(std::move(onEnded))
    , silence(captured.channelCount * static_cast<std::size_t>(captured.sampleRate) /
              fragmentsASecond) {
    const pa_sample_spec spec = sampleSpecOf(captured);
    if (!pa_sample_spec_valid(&spec))
        throw AudioError("the microphone's format cannot be recorded");
    const PulseConnection::Lock lock(*connection);
    try {
        open(device);
    } catch (...) {
        release();
        throw;
    }
}

void PulseCapture::open(const AudioDevice& device) {
    const pa_sample_spec spec = sampleSpecOf(captured);
    stream = pa_stream_new(connection->context(), "Listening", &spec, nullptr);
    if (!stream)
        throw AudioError("the microphone cannot be recorded");
    pa_stream_set_state_callback(stream, &PulseCapture::onState, this);
    pa_stream_set_read_callback(stream, &PulseCapture::onSamples, this);
    pa_buffer_attr buffer{};
    buffer.maxlength = buffer.tlength = buffer.prebuf = buffer.minreq = asServerLikes;
    buffer.fragsize =
        static_cast<std::uint32_t>(pa_frame_size(&spec)) * (captured.sampleRate / fragmentsASecond);
    const auto flags =
        static_cast<pa_stream_flags_t>(PA_STREAM_ADJUST_LATENCY | PA_STREAM_DONT_MOVE);
    if (pa_stream_connect_record(stream, device.identifier.c_str(), &buffer, flags) < 0)
        throw AudioError("the microphone cannot be recorded");
    connection->waitFor([this] { return pa_stream_get_state(stream) != PA_STREAM_CREATING; });
    if (pa_stream_get_state(stream) != PA_STREAM_READY)
        throw AudioError("the sound server refused to record the microphone");
    isRunning = true;
}

PulseCapture::~PulseCapture() {
    const PulseConnection::Lock lock(*connection);
    release();
}

void PulseCapture::release() {
    isRunning = false;
    if (!stream)
        return;
    pa_stream_set_state_callback(stream, nullptr, nullptr);
    pa_stream_set_read_callback(stream, nullptr, nullptr);
    pa_stream_disconnect(stream);
    pa_stream_unref(stream);
    stream = nullptr;
}

void PulseCapture::onState(pa_stream* stream, void* self) {
    auto* capture = static_cast<PulseCapture*>(self);
    capture->connection->signal();
    if (!capture->isRunning || PA_STREAM_IS_GOOD(pa_stream_get_state(stream)))
        return;
    capture->isRunning = false;
    capture->ended(pa_strerror(pa_context_errno(capture->connection->context())));
}

void PulseCapture::onSamples(pa_stream* stream, std::size_t, void* self) {
    auto* capture = static_cast<PulseCapture*>(self);
    const void* data = nullptr;
    std::size_t bytes = 0;
    while (pa_stream_readable_size(stream) > 0) {
        if (pa_stream_peek(stream, &data, &bytes) < 0 || bytes == 0)
            return;
        if (capture->isRunning)
            capture->deliver(data, bytes);
        pa_stream_drop(stream);
    }
}

void PulseCapture::deliver(const void* data, std::size_t bytes) {
    const std::size_t count = bytes / sizeof(float);
    if (data)
        return tap({static_cast<const float*>(data), count}, captured);
    for (std::size_t rest = count; rest > 0;) {
        const std::size_t piece = std::min(rest, silence.size());
        tap({silence.data(), piece}, captured);
        rest -= piece;
    }
}

} // namespace tavik
