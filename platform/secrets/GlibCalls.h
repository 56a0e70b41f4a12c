#pragma once

#include "platform/secrets/GlibNames.h"

#include <chrono>
#include <functional>
#include <memory>
#include <stop_token>

namespace tavik {

struct ReleaseObject {
    void operator()(void* object) const;
};

// A reference to an object of GLib's.
template<typename Object>
using ObjectReference = std::unique_ptr<Object, ReleaseObject>;

// Asynchronous calls of GLib's, one after the other, on the thread that made this: it waits for
// each, and all of them together last no longer than the limit. GLib's own blocking calls keep
// neither to a limit nor to a cancellation at every place. No other main loop is needed or run.
class GlibCalls {
public:
    using Callback = void (*)(GObject*, GAsyncResult*, void*);
    // Starts a call with these last three arguments.
    using Start = std::function<void(GCancellable*, Callback, void*)>;

    GlibCalls(std::chrono::milliseconds limit, std::stop_token stop);
    ~GlibCalls();
    GlibCalls(const GlibCalls&) = delete;
    GlibCalls& operator=(const GlibCalls&) = delete;

    // The call's result, for its "finish" function. Throws SecretStoreError when the limit has
    // passed, or Cancelled; either is the last call.
    ObjectReference<GAsyncResult> await(const Start& start);

private:
    using Instant = std::chrono::steady_clock::time_point;

    void iterateUntil(Instant end, const std::function<bool()>& ready);

    const std::stop_token stop;
    const Instant deadline;
    GMainContext* const context;
    const ObjectReference<GCancellable> cancellable;
    GAsyncResult* arrived = nullptr; // of the call that is waited for
    std::stop_callback<std::function<void()>> wakeOnStop;
};

} // namespace tavik
