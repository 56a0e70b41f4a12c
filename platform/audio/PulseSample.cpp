#include "platform/audio/PulseSample.h"

#include "platform/audio/AudioServer.h"
#include "platform/audio/PulseConnection.h"
#include "platform/concurrency/Cancelled.h"

namespace tavik {

namespace {

// The stream that carries a sound to the server.
class Upload {
public:
    Upload(PulseConnection& pulse, const ShortSound& sound)
        : connection(pulse) {
        const pa_sample_spec spec = {PA_SAMPLE_FLOAT32NE, sound.sampleRate, 1};
        pa_proplist* properties = pa_proplist_new();
        pa_proplist_sets(properties, PA_PROP_MEDIA_ROLE, "event");
        stream = pa_stream_new_with_proplist(connection.context(), sound.name.c_str(), &spec,
                                             nullptr, properties);
        pa_proplist_free(properties);
        if (!stream)
            throw AudioError(refusal());
        pa_stream_set_state_callback(
            stream, [](pa_stream*, void* self) { static_cast<Upload*>(self)->connection.signal(); },
            this);
    }
    ~Upload() {
        if (!stream)
            return;
        pa_stream_set_state_callback(stream, nullptr, nullptr);
        if (PA_STREAM_IS_GOOD(pa_stream_get_state(stream)))
            pa_stream_disconnect(stream);
        pa_stream_unref(stream);
    }
    Upload(const Upload&) = delete;
    Upload& operator=(const Upload&) = delete;

    void send(const std::vector<float>& samples, const std::stop_token& stop) {
        const std::size_t bytes = samples.size() * sizeof(float);
        if (pa_stream_connect_upload(stream, bytes) < 0)
            throw AudioError(refusal());
        await(PA_STREAM_READY, stop);
        if (pa_stream_write(stream, samples.data(), bytes, nullptr, 0, PA_SEEK_RELATIVE) < 0 ||
            pa_stream_finish_upload(stream) < 0)
            throw AudioError(refusal());
        await(PA_STREAM_TERMINATED, stop);
    }

private:
    void await(pa_stream_state_t wanted, const std::stop_token& stop) {
        connection.waitFor(
            [&] {
                const auto state = pa_stream_get_state(stream);
                return state == wanted || !PA_STREAM_IS_GOOD(state);
            },
            stop);
        throwIfStopped(stop);
        if (pa_stream_get_state(stream) != wanted)
            throw AudioError(refusal());
    }

    std::string refusal() const {
        return std::string("the sound server did not take a sound: ") +
               pa_strerror(pa_context_errno(connection.context()));
    }

    PulseConnection& connection;
    pa_stream* stream = nullptr;
};

} // namespace

void keepSample(PulseConnection& connection, const ShortSound& sound, const std::stop_token& stop) {
    Upload(connection, sound).send(sound.samples, stop);
}

void playSample(PulseConnection& connection, const std::string& name, double volume) {
    pa_operation* operation =
        pa_context_play_sample(connection.context(), name.c_str(), nullptr,
                               pa_sw_volume_from_linear(volume), nullptr, nullptr);
    if (!operation)
        throw AudioError("the sound server does not answer");
    pa_operation_unref(operation);
}

} // namespace tavik
