#include "platform/audio/PulseCapture.h"

#include "platform/audio/PulseConnection.h"
#include "platform/concurrency/Cancelled.h"

#include <algorithm>
#include <utility>

namespace tavik {

namespace {

constexpr std::uint32_t fragmentsASecond = 50; // 20 ms each
constexpr std::uint32_t asServerLikes = static_cast<std::uint32_t>(-1);

pa_sample_spec sampleSpecOf(const AudioFormat& format) {
    const pa_sample_spec spec = {PA_SAMPLE_FLOAT32NE, format.sampleRate,
                                 static_cast<std::uint8_t>(format.channelCount)};
    if (format.channelCount > PA_CHANNELS_MAX || !pa_sample_spec_valid(&spec))
        throw AudioError("the microphone's format cannot be recorded");
    return spec;
}

// A stream that the server has not made yet cannot be disconnected: it would begin to record when
// the server comes back to life.
void disconnectOnceMade(pa_stream* stream, void*) {
    if (pa_stream_get_state(stream) == PA_STREAM_READY)
        pa_stream_disconnect(stream);
}

std::uint32_t framesAFragment(const pa_sample_spec& spec) {
    return std::max(1U, spec.rate / fragmentsASecond);
}

std::vector<float> silentFragment(const pa_sample_spec& spec) {
    return std::vector<float>(static_cast<std::size_t>(framesAFragment(spec)) * spec.channels);
}

} // namespace

PulseCapture::PulseCapture(std::shared_ptr<PulseConnection> pulse, const AudioDevice& device,
                           AudioServer::Tap onFrames, AudioServer::Ended onEnded,
                           const std::stop_token& stop)
    : connection(std::move(pulse))
    , captured(device.format)
    , tap(std::move(onFrames))
    , ended(std::move(onEnded))
    , silence(silentFragment(sampleSpecOf(captured))) {
    const std::stop_callback wake(stop, [this] { connection->wake(); });
    const PulseConnection::Lock lock(*connection);
    try {
        open(device, stop);
    } catch (...) {
        release();
        throw;
    }
}

void PulseCapture::open(const AudioDevice& device, const std::stop_token& stop) {
    const pa_sample_spec spec = sampleSpecOf(captured);
    // There is a usual arrangement for a few channel counts only.
    pa_channel_map map;
    pa_channel_map_init_extend(&map, spec.channels, PA_CHANNEL_MAP_DEFAULT);
    stream = pa_stream_new(connection->context(), "Listening", &spec, &map);
    if (!stream)
        throw AudioError(refusal());
    pa_stream_set_state_callback(stream, &PulseCapture::onState, this);
    pa_stream_set_suspended_callback(stream, &PulseCapture::onSuspended, this);
    pa_stream_set_read_callback(stream, &PulseCapture::onSamples, this);
    pa_buffer_attr buffer{};
    buffer.maxlength = buffer.tlength = buffer.prebuf = buffer.minreq = asServerLikes;
    buffer.fragsize = static_cast<std::uint32_t>(pa_frame_size(&spec)) * framesAFragment(spec);
    // When its device goes away, the recording must end instead of going on with any other one.
    const auto flags =
        static_cast<pa_stream_flags_t>(PA_STREAM_ADJUST_LATENCY | PA_STREAM_DONT_MOVE |
                                       PA_STREAM_NO_REMAP_CHANNELS | PA_STREAM_NO_REMIX_CHANNELS);
    if (pa_stream_connect_record(stream, device.identifier.c_str(), &buffer, flags) < 0)
        throw AudioError(refusal());
    const bool isDecided = connection->waitFor(
        [this] { return pa_stream_get_state(stream) != PA_STREAM_CREATING; }, stop);
    throwIfStopped(stop);
    if (!isDecided)
        throw AudioError("the sound server does not answer");
    if (pa_stream_get_state(stream) != PA_STREAM_READY)
        throw AudioError(refusal());
    isRunning = true;
}

std::string PulseCapture::refusal() const {
    return "the sound server did not let the microphone be recorded: " + reason();
}

std::string PulseCapture::reason() const {
    return pa_strerror(pa_context_errno(connection->context()));
}

PulseCapture::~PulseCapture() {
    const PulseConnection::Lock lock(*connection);
    release();
}

void PulseCapture::release() {
    isRunning = false;
    if (!stream)
        return;
    const bool isBeingMade = pa_stream_get_state(stream) == PA_STREAM_CREATING;
    pa_stream_set_state_callback(stream, isBeingMade ? &disconnectOnceMade : nullptr, nullptr);
    pa_stream_set_suspended_callback(stream, nullptr, nullptr);
    pa_stream_set_read_callback(stream, nullptr, nullptr);
    pa_stream_disconnect(stream);
    pa_stream_unref(stream);
    stream = nullptr;
}

void PulseCapture::onState(pa_stream* stream, void* self) {
    auto* capture = static_cast<PulseCapture*>(self);
    capture->connection->signal();
    if (!PA_STREAM_IS_GOOD(pa_stream_get_state(stream)))
        capture->end(capture->reason());
}

void PulseCapture::onSuspended(pa_stream* stream, void* self) {
    if (pa_stream_is_suspended(stream) > 0)
        static_cast<PulseCapture*>(self)->end("the microphone was suspended");
}

void PulseCapture::end(const std::string& why) {
    if (std::exchange(isRunning, false))
        ended(why);
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
