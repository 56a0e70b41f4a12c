#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <pulse/pulseaudio.h>
#include <stop_token>

namespace tavik {

// A connection to the sound server with the thread that serves it. Between construction and
// destruction it may break; `isAlive` tells, and a new object is the way to connect again.
class PulseConnection {
public:
    // Holds the server thread's lock: everything that touches libpulse's objects outside its
    // callbacks.
    class Lock {
    public:
        explicit Lock(const PulseConnection& connection);
        ~Lock();
        Lock(const Lock&) = delete;
        Lock& operator=(const Lock&) = delete;

    private:
        pa_threaded_mainloop* loop;
    };

    // Connects, never starting a server. Throws AudioError when none answers within two seconds,
    // and Cancelled.
    explicit PulseConnection(const std::stop_token& stop = {});
    ~PulseConnection();
    PulseConnection(const PulseConnection&) = delete;
    PulseConnection& operator=(const PulseConnection&) = delete;

    pa_context* context() const { return server; }

    // All below are to be called with the lock held, and not on the server thread.
    bool isAlive() const;
    // Waits for `isDone`, which callbacks bring about and `signal`, for at most two seconds. False
    // when the time ran out, the connection broke or `stop` was requested; whoever gives a `stop`
    // sees to it that its request calls `wake`.
    bool waitFor(const std::function<bool()>& isDone, const std::stop_token& stop = {}) const;
    // Waits for the end of an operation, which it releases. Throws AudioError when it does not end,
    // and Cancelled.
    void complete(pa_operation* operation, const std::stop_token& stop = {}) const;

    // From a callback: somebody may be waiting for what it brought.
    void signal() const;

    // From any thread, without the lock: whoever waits looks again.
    void wake() const;

    // Called on the server thread when the connection breaks.
    std::function<void()> onLost;

private:
    static void stateChanged(pa_context*, void* self);
    void connect(const std::stop_token& stop);
    void release();

    pa_threaded_mainloop* loop = nullptr;
    pa_context* server = nullptr;
    bool wasReady = false;
};

} // namespace tavik
