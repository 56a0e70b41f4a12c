#include "tests/platform/desktop/BusPeer.h"

#include <mutex>
#include <stdexcept>

namespace tavik {

namespace {

// Guards the answers of all peers. GIO guards them too, but the thread sanitizer does not see that.
std::mutex answering;

} // namespace

BusPeer::BusPeer(const std::string& address, Answer howToAnswer)
    : connection(g_dbus_connection_new_for_address_sync(
          address.c_str(),
          static_cast<GDBusConnectionFlags>(
              static_cast<int>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT) |
              G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
          nullptr, nullptr, nullptr)) {
    if (!connection)
        throw std::runtime_error("no connection to " + address);
    const std::lock_guard lock(answering);
    answer = std::move(howToAnswer);
    g_dbus_connection_add_filter(connection, filter, this, nullptr);
}

BusPeer::~BusPeer() {
    {
        const std::lock_guard lock(answering);
        answer = [](const BusCall&) { return nullptr; };
    }
    g_dbus_connection_close_sync(connection, nullptr, nullptr);
    g_object_unref(connection);
}

void BusPeer::own(const std::string& name) {
    callForText("org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
                "RequestName", g_variant_new("(su)", name.c_str(), 0U));
}

std::string BusPeer::uniqueName() const {
    return g_dbus_connection_get_unique_name(connection);
}

GVariant* BusPeer::call(const char* owner, const char* path, const char* interface,
                        const char* method, GVariant* arguments) {
    GError* error = nullptr;
    GVariant* const values =
        g_dbus_connection_call_sync(connection, owner, path, interface, method, arguments, nullptr,
                                    G_DBUS_CALL_FLAGS_NONE, 10'000, nullptr, &error);
    if (values)
        return values;
    const std::string reason = error->message;
    g_error_free(error);
    throw std::runtime_error(reason);
}

std::string BusPeer::callForText(const char* owner, const char* path, const char* interface,
                                 const char* method, GVariant* arguments) {
    GVariant* const values = call(owner, path, interface, method, arguments);
    std::string text;
    if (g_variant_is_of_type(values, G_VARIANT_TYPE("(s)"))) {
        const char* borrowed = nullptr;
        g_variant_get(values, "(&s)", &borrowed);
        text = borrowed;
    }
    g_variant_unref(values);
    return text;
}

void BusPeer::tell(const std::string& path, const std::string& interface, const std::string& signal,
                   GVariant* values) {
    g_dbus_connection_emit_signal(connection, nullptr, path.c_str(), interface.c_str(),
                                  signal.c_str(), values, nullptr);
}

GDBusMessage* BusPeer::reply(GDBusMessage* call) const {
    try {
        GVariant* const values =
            answer({g_dbus_message_get_sender(call), g_dbus_message_get_path(call),
                    g_dbus_message_get_member(call), g_dbus_message_get_body(call)});
        if (!values)
            return nullptr;
        GDBusMessage* const message = g_dbus_message_new_method_reply(call);
        g_dbus_message_set_body(message, values);
        return message;
    } catch (const BusError& error) {
        return g_dbus_message_new_method_error_literal(call, error.name.c_str(), "as told");
    }
}

GDBusMessage* BusPeer::filter(GDBusConnection* bus, GDBusMessage* message, gboolean isIncoming,
                              gpointer data) {
    if (isIncoming == FALSE ||
        g_dbus_message_get_message_type(message) != G_DBUS_MESSAGE_TYPE_METHOD_CALL)
        return message;
    auto* const self = static_cast<BusPeer*>(data);
    const std::lock_guard lock(answering);
    if (GDBusMessage* const reply = self->reply(message)) {
        g_dbus_connection_send_message(bus, reply, G_DBUS_SEND_MESSAGE_FLAGS_NONE, nullptr,
                                       nullptr);
        g_object_unref(reply);
    }
    g_object_unref(message);
    return nullptr;
}

} // namespace tavik
