#include "platform/audio/PulseConnection.h"

#include "platform/audio/AudioServer.h"
#include "platform/concurrency/Cancelled.h"

namespace tavik {

namespace {

constexpr pa_usec_t patience = 2'000'000; // microseconds

constexpr const char* noAnswer = "the sound server does not answer";

// Wakes the waiting thread once, when the patience is over.
class Deadline {
public:
    Deadline(pa_threaded_mainloop* mainloop, pa_context* context)
        : loop(mainloop)
        , api(pa_threaded_mainloop_get_api(mainloop))
        , event(
              pa_context_rttime_new(context, pa_rtclock_now() + patience, &Deadline::expire, this))
        , expired(!event) {}
    ~Deadline() {
        if (event)
            api->time_free(event);
    }
    Deadline(const Deadline&) = delete;
    Deadline& operator=(const Deadline&) = delete;

    bool hasExpired() const { return expired; }

private:
    static void expire(pa_mainloop_api*, pa_time_event*, const timeval*, void* self) {
        auto* deadline = static_cast<Deadline*>(self);
        deadline->expired = true;
        pa_threaded_mainloop_signal(deadline->loop, 0);
    }

    pa_threaded_mainloop* loop;
    pa_mainloop_api* api;
    pa_time_event* event;
    bool expired;
};

} // namespace

PulseConnection::Lock::Lock(const PulseConnection& connection)
    : loop(connection.loop) {
    pa_threaded_mainloop_lock(loop);
}

PulseConnection::Lock::~Lock() {
    pa_threaded_mainloop_unlock(loop);
}

PulseConnection::PulseConnection(const std::stop_token& stop) {
    loop = pa_threaded_mainloop_new();
    if (!loop)
        throw AudioError("the sound system cannot be used");
    pa_threaded_mainloop_set_name(loop, "ai.tavik.sound");
    server = pa_context_new(pa_threaded_mainloop_get_api(loop), "Tavik");
    try {
        connect(stop);
    } catch (...) {
        release();
        throw;
    }
}

void PulseConnection::connect(const std::stop_token& stop) {
    pa_context_set_state_callback(server, &PulseConnection::stateChanged, this);
    if (pa_context_connect(server, nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr) < 0 ||
        pa_threaded_mainloop_start(loop) < 0)
        throw AudioError(noAnswer);
    const std::stop_callback onStop(stop, [this] { wake(); });
    const Lock lock(*this);
    wasReady = waitFor([this] { return pa_context_get_state(server) == PA_CONTEXT_READY; }, stop);
    throwIfStopped(stop);
    if (!wasReady)
        throw AudioError(noAnswer);
}

PulseConnection::~PulseConnection() {
    release();
}

void PulseConnection::release() {
    if (!loop)
        return;
    if (server) {
        const Lock lock(*this);
        pa_context_set_state_callback(server, nullptr, nullptr);
        pa_context_disconnect(server);
        pa_context_unref(server);
        server = nullptr;
    }
    pa_threaded_mainloop_stop(loop);
    pa_threaded_mainloop_free(loop);
    loop = nullptr;
}

bool PulseConnection::isAlive() const {
    return PA_CONTEXT_IS_GOOD(pa_context_get_state(server));
}

bool PulseConnection::waitFor(const std::function<bool()>& isDone,
                              const std::stop_token& stop) const {
    const Deadline deadline(loop, server);
    while (!isDone() && isAlive() && !deadline.hasExpired() && !stop.stop_requested())
        pa_threaded_mainloop_wait(loop);
    return isDone();
}

void PulseConnection::complete(pa_operation* operation, const std::stop_token& stop) const {
    if (!operation)
        throw AudioError(noAnswer);
    const bool ended = waitFor(
        [operation] { return pa_operation_get_state(operation) != PA_OPERATION_RUNNING; }, stop);
    const bool succeeded = ended && pa_operation_get_state(operation) == PA_OPERATION_DONE;
    if (!ended)
        pa_operation_cancel(operation);
    pa_operation_unref(operation);
    throwIfStopped(stop);
    if (!succeeded)
        throw AudioError(noAnswer);
}

void PulseConnection::signal() const {
    pa_threaded_mainloop_signal(loop, 0);
}

void PulseConnection::wake() const {
    if (pa_threaded_mainloop_in_thread(loop))
        return signal();
    const Lock lock(*this);
    signal();
}

void PulseConnection::stateChanged(pa_context* context, void* self) {
    auto* connection = static_cast<PulseConnection*>(self);
    connection->signal();
    if (connection->wasReady && !PA_CONTEXT_IS_GOOD(pa_context_get_state(context)) &&
        connection->onLost)
        connection->onLost();
}

} // namespace tavik
