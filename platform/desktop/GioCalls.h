#pragma once

#include "platform/desktop/GioHandles.h"

#include <chrono>
#include <functional>
#include <stop_token>

namespace tavik {

// Asynchronous calls of GIO's that are under way together, on the one thread that made this and
// waits for them. No other main loop is needed. Private to this folder.
class GioCalls {
public:
    using Instant = std::chrono::steady_clock::time_point;
    // Called with the object and the result of a call, for its "finish" function.
    using Finish = std::function<void(GObject*, GAsyncResult*)>;

    // A stop request cancels what is under way and whatever is started later.
    explicit GioCalls(const std::stop_token& stop);
    ~GioCalls();
    GioCalls(const GioCalls&) = delete;
    GioCalls& operator=(const GioCalls&) = delete;

    GCancellable* cancellable() const { return cancelling.get(); }

    // What a call that is started now takes as callback and as data.
    static void onResult(GObject* source, GAsyncResult* result, gpointer data);
    gpointer expect(Finish finish);

    // Returns when nothing is under way any more, calls begun by a finish included. What is so at
    // `deadline` is cancelled, and finishes as such.
    void awaitAll(Instant deadline);

private:
    struct Pending;

    const GioContext context;
    const GioObject<GCancellable> cancelling;
    int underWay = 0;
    const std::stop_callback<std::function<void()>> cancelOnStop;
};

} // namespace tavik
