#include "platform/desktop/GioCalls.h"

#include <algorithm>

namespace tavik {

struct GioCalls::Pending {
    GioCalls& calls;
    Finish finish;
};

GioCalls::GioCalls(const std::stop_token& stop)
    : context(g_main_context_new())
    , cancelling(g_cancellable_new())
    , cancelOnStop(stop, [this] { g_cancellable_cancel(cancelling.get()); }) {
    g_main_context_push_thread_default(context.get());
}

GioCalls::~GioCalls() {
    awaitAll({});
    g_main_context_pop_thread_default(context.get());
}

gpointer GioCalls::expect(Finish finish) {
    ++underWay;
    return new Pending{*this, std::move(finish)};
}

void GioCalls::onResult(GObject* source, GAsyncResult* result, gpointer data) {
    const std::unique_ptr<Pending> pending(static_cast<Pending*>(data));
    pending->finish(source, result);
    --pending->calls.underWay;
}

void GioCalls::awaitAll(Instant deadline) {
    const auto patience =
        std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    GSource* const timer =
        g_timeout_source_new(static_cast<guint>(std::max<long>(patience.count(), 0)));
    g_source_set_callback(
        timer,
        [](gpointer cancellable) -> gboolean {
            g_cancellable_cancel(static_cast<GCancellable*>(cancellable));
            return G_SOURCE_REMOVE;
        },
        cancelling.get(), nullptr);
    g_source_attach(timer, context.get());
    while (underWay > 0)
        g_main_context_iteration(context.get(), TRUE);
    g_source_destroy(timer);
    g_source_unref(timer);
}

} // namespace tavik
