#include "platform/secrets/GlibCalls.h"

#include "platform/concurrency/Cancelled.h"
#include "platform/secrets/GlibFailure.h"

#include <algorithm>
#include <gio/gio.h>
#include <utility>

namespace tavik {

namespace {

using namespace std::chrono_literals;
using std::chrono::steady_clock;

// What a cancelled call gets for cleaning up behind itself.
constexpr auto grace = 20ms;

gboolean doNothing(gpointer) {
    return G_SOURCE_CONTINUE;
}

// Ends an iteration of `context` at `end`, while it lives.
class Alarm {
public:
    Alarm(GMainContext* context, steady_clock::time_point end)
        : source(g_timeout_source_new(millisecondsTo(end))) {
        g_source_set_callback(source, doNothing, nullptr, nullptr);
        g_source_attach(source, context);
    }
    ~Alarm() {
        g_source_destroy(source);
        g_source_unref(source);
    }
    Alarm(const Alarm&) = delete;
    Alarm& operator=(const Alarm&) = delete;

private:
    static guint millisecondsTo(steady_clock::time_point end) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - steady_clock::now());
        return static_cast<guint>(std::max(left, 1ms).count());
    }

    GSource* const source;
};

} // namespace

void ReleaseObject::operator()(void* object) const {
    g_object_unref(object);
}

GlibCalls::GlibCalls(std::chrono::milliseconds limit, std::stop_token stopToken)
    : stop(std::move(stopToken))
    , deadline(steady_clock::now() + limit)
    , context(g_main_context_new())
    , cancellable(g_cancellable_new())
    , wakeOnStop(stop, [this] { g_main_context_wakeup(context); }) {
    g_main_context_push_thread_default(context);
}

GlibCalls::~GlibCalls() {
    // Objects of GLib's that are gone by now have left their last clearing up to the context.
    const Instant end = steady_clock::now() + grace;
    while (g_main_context_iteration(context, FALSE) && steady_clock::now() < end) {
    }
    const ObjectReference<GAsyncResult> late(arrived);
    g_main_context_pop_thread_default(context);
    g_main_context_unref(context);
}

ObjectReference<GAsyncResult> GlibCalls::await(const Start& start) {
    throwIfStopped(stop);
    start(
        cancellable.get(),
        [](GObject*, GAsyncResult* result, void* self) {
            g_object_ref(result);
            static_cast<GlibCalls*>(self)->arrived = result;
        },
        this);
    iterateUntil(deadline, [this] { return arrived || stop.stop_requested(); });
    const bool isInTime = arrived != nullptr;
    if (!isInTime) {
        // What comes even later than this is not looked at any more.
        g_cancellable_cancel(cancellable.get());
        iterateUntil(steady_clock::now() + grace, [this] { return arrived != nullptr; });
    }
    ObjectReference<GAsyncResult> result(std::exchange(arrived, nullptr));
    throwIfStopped(stop);
    if (!isInTime)
        throw timedOutSecret();
    return result;
}

void GlibCalls::iterateUntil(Instant end, const std::function<bool()>& ready) {
    const Alarm alarm(context, end);
    while (!ready() && steady_clock::now() < end)
        g_main_context_iteration(context, TRUE);
}

} // namespace tavik
