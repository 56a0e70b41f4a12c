#include "platform/hotkey/PortalConnection.h"

#include "platform/concurrency/Cancelled.h"
#include "platform/desktop/SessionBus.h"

#include <algorithm>
#include <array>
#include <utility>

namespace tavik {

namespace {

constexpr const char* portal = "org.freedesktop.portal.Desktop";
constexpr const char* requestInterface = "org.freedesktop.portal.Request";
constexpr const char* responseType = "(ua{sv})";

// The answer to one call.
struct Reply {
    bool isThere = false;
    GioVariant values;
    GioError error;
};

// The answer to one request.
struct Response {
    bool isThere = false;
    unsigned code = 0;
    GioVariant results;
};

void onReply(GObject* bus, GAsyncResult* result, gpointer data) {
    auto& reply = *static_cast<Reply*>(data);
    GError* error = nullptr;
    reply.values.reset(g_dbus_connection_call_finish(G_DBUS_CONNECTION(bus), result, &error));
    reply.error.reset(error);
    reply.isThere = true;
}

bool tellsOfAbsence(const GError& error) {
    constexpr std::array absence = {G_DBUS_ERROR_SERVICE_UNKNOWN,   G_DBUS_ERROR_NAME_HAS_NO_OWNER,
                                    G_DBUS_ERROR_UNKNOWN_METHOD,    G_DBUS_ERROR_UNKNOWN_INTERFACE,
                                    G_DBUS_ERROR_UNKNOWN_OBJECT,    G_DBUS_ERROR_SPAWN_EXEC_FAILED,
                                    G_DBUS_ERROR_SPAWN_CHILD_EXITED};
    return error.domain == G_DBUS_ERROR && std::ranges::count(absence, error.code) > 0;
}

bool tellsOfSilence(const GError& error) {
    return error.domain == G_IO_ERROR ||
           (error.domain == G_DBUS_ERROR &&
            (error.code == G_DBUS_ERROR_NO_REPLY || error.code == G_DBUS_ERROR_TIMED_OUT));
}

[[noreturn]] void raise(const GError& error) {
    constexpr int someFailure = 2; // the portal's number for it
    if (tellsOfAbsence(error))
        throw PortalError(PortalError::Kind::missing, error.code, "the desktop has no such portal");
    if (tellsOfSilence(error))
        throw PortalError(PortalError::Kind::silent, error.code, "the portal does not answer");
    throw PortalError(PortalError::Kind::refused, someFailure, "the portal refuses");
}

Response responseOf(GVariant* values) {
    Response response{.isThere = true};
    GVariant* results = nullptr;
    g_variant_get(values, "(u@a{sv})", &response.code, &results);
    response.results.reset(results);
    return response;
}

} // namespace

PortalConnection::PortalConnection(std::stop_token stopToken)
    : stop(std::move(stopToken))
    , context(g_main_context_new())
    , cancelling(g_cancellable_new()) {
    g_main_context_push_thread_default(context.get());
    onStop.emplace(stop, [this] { interrupt(); });
    bus = connectionToSession(cancelling.get());
    if (bus) {
        watchPortal();
        return;
    }
    onStop.reset();
    g_main_context_pop_thread_default(context.get());
    if (stop.stop_requested())
        throw Cancelled();
    throw PortalError(PortalError::Kind::missing, ENOENT, "there is no session bus");
}

PortalConnection::~PortalConnection() {
    onStop.reset();
    while (!listeners.empty())
        unsubscribe(listeners.begin());
    g_signal_handlers_disconnect_by_data(bus.get(), this);
    g_dbus_connection_close(bus.get(), nullptr, nullptr, nullptr);
    bus.reset();
    while (g_main_context_iteration(context.get(), FALSE) == TRUE)
        continue; // what was on its way to the listeners
    g_main_context_pop_thread_default(context.get());
}

void PortalConnection::interrupt() {
    g_cancellable_cancel(cancelling.get());
    g_main_context_wakeup(context.get());
}

// A portal that is started by our first call is no other one.
void PortalConnection::watchPortal() {
    const auto ownerChanged = [this](GVariant* values) {
        const char* before = "";
        if (g_variant_is_of_type(values, G_VARIANT_TYPE("(sss)")))
            g_variant_get(values, "(s&ss)", nullptr, &before, nullptr);
        over = over || *before != '\0';
    };
    subscribe("org.freedesktop.DBus", "org.freedesktop.DBus", "NameOwnerChanged",
              "/org/freedesktop/DBus", portal, ownerChanged);
    const auto closed = +[](GDBusConnection*, gboolean, GError*, gpointer data) {
        static_cast<PortalConnection*>(data)->over = true;
    };
    g_signal_connect(bus.get(), "closed", G_CALLBACK(closed), this);
}

PortalConnection::Listeners::iterator
PortalConnection::subscribe(const char* sender, const char* interface, const char* signal,
                            const char* path, const char* argument, Signal handle) {
    const auto run =
        +[](GDBusConnection*, const char*, const char*, const char*, const char*, GVariant* values,
            gpointer listener) { static_cast<Listener*>(listener)->handle(values); };
    listeners.push_back({.handle = std::move(handle)});
    const auto added = std::prev(listeners.end());
    added->subscription =
        g_dbus_connection_signal_subscribe(bus.get(), sender, interface, signal, path, argument,
                                           G_DBUS_SIGNAL_FLAGS_NONE, run, &*added, nullptr);
    return added;
}

// A signal that is on its way may still come: this thread's loop has to be run before the listener
// goes.
void PortalConnection::unsubscribe(Listeners::iterator listener) {
    listener->handle = [](GVariant*) {};
    g_dbus_connection_signal_unsubscribe(bus.get(), listener->subscription);
    while (g_main_context_iteration(context.get(), FALSE) == TRUE)
        continue;
    listeners.erase(listener);
}

void PortalConnection::listen(const char* interface, const char* signal, const std::string& path,
                              Signal handle) {
    subscribe(portal, interface, signal, path.c_str(), nullptr, std::move(handle));
}

bool PortalConnection::waitUntil(const std::function<bool()>& condition,
                                 std::optional<Limit> limit) {
    bool isLate = false;
    const std::unique_ptr<GSource, decltype(&g_source_unref)> timer(
        g_timeout_source_new(static_cast<guint>(limit.value_or(Limit(0)).count())), g_source_unref);
    const auto expired = [](gpointer late) -> gboolean {
        *static_cast<bool*>(late) = true;
        return G_SOURCE_REMOVE;
    };
    g_source_set_callback(timer.get(), expired, &isLate, nullptr);
    if (limit)
        g_source_attach(timer.get(), context.get());
    while (!condition() && !isLate && !stop.stop_requested())
        g_main_context_iteration(context.get(), TRUE);
    g_source_destroy(timer.get());
    if (stop.stop_requested())
        throw Cancelled();
    return condition();
}

GioVariant PortalConnection::call(const char* interface, const char* method, GVariant* arguments,
                                  const char* replyType, Limit limit) {
    Reply reply;
    g_dbus_connection_call(bus.get(), portal, portalPath, interface, method, arguments,
                           G_VARIANT_TYPE(replyType), G_DBUS_CALL_FLAGS_NONE,
                           static_cast<int>(limit.count()), cancelling.get(), onReply, &reply);
    // A stop request cancels the call, which then ends at once.
    while (!reply.isThere)
        g_main_context_iteration(context.get(), TRUE);
    if (stop.stop_requested())
        throw Cancelled();
    if (reply.error)
        raise(*reply.error);
    return std::move(reply.values);
}

std::string PortalConnection::nextToken() {
    return "tavik" + std::to_string(++requests);
}

std::string PortalConnection::requestPath(const std::string& token) const {
    std::string sender = g_dbus_connection_get_unique_name(bus.get());
    std::ranges::replace(sender, '.', '_');
    return std::string(portalPath) + "/request/" + sender.substr(1) + "/" + token;
}

GioVariant PortalConnection::request(const char* interface, const char* method,
                                     const std::string& token, GVariant* arguments, Limit callLimit,
                                     Limit answerLimit, const std::function<bool()>& isPointless) {
    Response response;
    const auto answered = [&response](GVariant* values) {
        if (g_variant_is_of_type(values, G_VARIANT_TYPE(responseType)))
            response = responseOf(values);
    };
    const std::string path = requestPath(token);
    const auto listener =
        subscribe(portal, requestInterface, "Response", path.c_str(), nullptr, answered);
    const std::shared_ptr<void> unsubscribed(nullptr, [&](void*) { unsubscribe(listener); });
    call(interface, method, arguments, "(o)", callLimit);
    waitUntil([&] { return response.isThere || over || isPointless(); }, answerLimit);
    if (!response.isThere) {
        closeRequest(path);
        throw PortalError(PortalError::Kind::silent, ETIMEDOUT, "the portal does not answer");
    }
    if (response.code != 0)
        throw PortalError(PortalError::Kind::refused, static_cast<int>(response.code),
                          "the portal refuses");
    return std::move(response.results);
}

// So that its dialog goes as well.
void PortalConnection::closeRequest(const std::string& path) {
    g_dbus_connection_call(bus.get(), portal, path.c_str(), requestInterface, "Close", nullptr,
                           nullptr, G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr, nullptr);
    g_dbus_connection_flush_sync(bus.get(), cancelling.get(), nullptr);
}

} // namespace tavik
