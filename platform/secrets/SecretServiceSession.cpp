#include "platform/secrets/SecretServiceSession.h"

#include "platform/secrets/GlibFailure.h"
#include "platform/secrets/QuietSecretService.h"

#define SECRET_API_SUBJECT_TO_CHANGE
#include <cstdlib>
#include <gio/gio.h>
#include <libsecret/secret.h>
#include <unistd.h>

namespace tavik {

namespace {

constexpr auto collectionInterface = "org.freedesktop.Secret.Collection";

// Items are told apart by the two attributes alone, whatever schema they were stored under.
const SecretSchema schema = {"ai.tavik.Secret",
                             SECRET_SCHEMA_DONT_MATCH_NAME,
                             {{"service", SECRET_SCHEMA_ATTRIBUTE_STRING},
                              {"account", SECRET_SCHEMA_ATTRIBUTE_STRING},
                              {nullptr, SECRET_SCHEMA_ATTRIBUTE_STRING}},
                             0,
                             nullptr,
                             nullptr,
                             nullptr,
                             nullptr,
                             nullptr,
                             nullptr,
                             nullptr};

using Table = std::unique_ptr<GHashTable, decltype(&g_hash_table_unref)>;
using Value = std::unique_ptr<SecretValue, void (*)(SecretValue*)>;
using Variant = std::unique_ptr<GVariant, decltype(&g_variant_unref)>;
using CText = std::unique_ptr<char, decltype(&g_free)>;

void releaseValue(SecretValue* value) {
    secret_value_unref(value);
}

Table attributesOf(const SecretName& name) {
    return {secret_attributes_build(&schema, "service", name.service.c_str(), "account",
                                    name.account.c_str(), nullptr),
            g_hash_table_unref};
}

Value valueOf(const std::string& text) {
    return {secret_value_new(text.data(), static_cast<gssize>(text.size()), "text/plain"),
            releaseValue};
}

std::vector<std::string> takePaths(char** paths) {
    std::vector<std::string> result;
    for (char** path = paths; path && *path; ++path)
        result.emplace_back(*path);
    g_strfreev(paths);
    return result;
}

// GLib's own search would also start a bus where there is none.
std::string sessionBusAddress() {
    const char* const address = std::getenv("DBUS_SESSION_BUS_ADDRESS");
    if (address && *address) {
        GlibFailure failure;
        if (!g_dbus_is_supported_address(address, failure.receiver()))
            failure.raise();
        return address;
    }
    const char* const runtime = std::getenv("XDG_RUNTIME_DIR");
    const std::string socket = runtime ? std::string(runtime) + "/bus" : "";
    if (socket.empty() || access(socket.c_str(), F_OK) != 0)
        throw noSessionBus();
    const CText escaped(g_dbus_address_escape_value(socket.c_str()), g_free);
    return std::string("unix:path=") + escaped.get();
}

ObjectReference<GDBusConnection> connect(GlibCalls& calls) {
    const std::string address = sessionBusAddress();
    const auto result = calls.await([&](auto* cancellable, auto done, void* data) {
        const int flags = G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                          G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION;
        g_dbus_connection_new_for_address(address.c_str(), static_cast<GDBusConnectionFlags>(flags),
                                          nullptr, cancellable, done, data);
    });
    GlibFailure failure;
    ObjectReference<GDBusConnection> connection(
        g_dbus_connection_new_for_address_finish(result.get(), failure.receiver()));
    if (!connection)
        failure.raise();
    return connection;
}

ObjectReference<SecretService> openService(GlibCalls& calls, GDBusConnection* connection) {
    const auto result = calls.await([&](auto* cancellable, auto done, void* data) {
        g_async_initable_new_async(quietSecretServiceType(), G_PRIORITY_DEFAULT, cancellable, done,
                                   data, "g-connection", connection, nullptr);
    });
    GlibFailure failure;
    const ObjectReference<GObject> source(g_async_result_get_source_object(result.get()));
    GObject* const service = g_async_initable_new_finish(G_ASYNC_INITABLE(source.get()),
                                                         result.get(), failure.receiver());
    if (!service)
        failure.raise();
    return ObjectReference<SecretService>(SECRET_SERVICE(service));
}

} // namespace

SecretServiceSession::SecretServiceSession(std::chrono::milliseconds limit, std::stop_token stop)
    : calls(limit, std::move(stop))
    , connection(connect(calls))
    , service(openService(calls, connection.get())) {}

SecretServiceSession::Found SecretServiceSession::find(const SecretName& name) {
    const Table attributes = attributesOf(name);
    const auto result = calls.await([&](auto* cancellable, auto done, void* data) {
        secret_service_search_for_dbus_paths(service.get(), &schema, attributes.get(), cancellable,
                                             done, data);
    });
    GlibFailure failure;
    char** unlocked = nullptr;
    char** locked = nullptr;
    if (!secret_service_search_for_dbus_paths_finish(service.get(), result.get(), &unlocked,
                                                     &locked, failure.receiver()))
        failure.raise();
    return {takePaths(unlocked), takePaths(locked)};
}

// The call that needs no item, only its path, leaks the reply in libsecret 0.20.
std::optional<std::string> SecretServiceSession::secretOf(const std::string& path) {
    const auto item = open(path);
    const auto result = calls.await([&](auto* cancellable, auto done, void* data) {
        secret_item_load_secret(item.get(), cancellable, done, data);
    });
    GlibFailure failure;
    if (!secret_item_load_secret_finish(item.get(), result.get(), failure.receiver()))
        failure.raise();
    const Value secret(secret_item_get_secret(item.get()), releaseValue);
    if (!secret)
        return std::nullopt;
    gsize length = 0;
    const char* const bytes = secret_value_get(secret.get(), &length);
    return std::string(bytes, length);
}

void SecretServiceSession::replaceSecret(const std::string& path, const std::string& value) {
    const auto item = open(path);
    const Value secret = valueOf(value);
    const auto result = calls.await([&](auto* cancellable, auto done, void* data) {
        secret_item_set_secret(item.get(), secret.get(), cancellable, done, data);
    });
    GlibFailure failure;
    if (!secret_item_set_secret_finish(item.get(), result.get(), failure.receiver()))
        failure.raise();
}

ObjectReference<SecretItem> SecretServiceSession::open(const std::string& path) {
    const auto result = calls.await([&](auto* cancellable, auto done, void* data) {
        secret_item_new_for_dbus_path(service.get(), path.c_str(), SECRET_ITEM_NONE, cancellable,
                                      done, data);
    });
    GlibFailure failure;
    ObjectReference<SecretItem> item(
        secret_item_new_for_dbus_path_finish(result.get(), failure.receiver()));
    if (!item)
        failure.raise();
    return item;
}

void SecretServiceSession::removeItem(const std::string& path) {
    const auto result = calls.await([&](auto* cancellable, auto done, void* data) {
        secret_service_delete_item_dbus_path(service.get(), path.c_str(), cancellable, done, data);
    });
    GlibFailure failure;
    if (!secret_service_delete_item_dbus_path_finish(service.get(), result.get(),
                                                     failure.receiver()))
        failure.raise();
}

void SecretServiceSession::addItem(const SecretName& name, const std::string& label,
                                   const std::string& value) {
    const Table attributes = attributesOf(name);
    const Value secret = valueOf(value);
    const auto result = calls.await([&](auto* cancellable, auto done, void* data) {
        secret_service_store(service.get(), &schema, attributes.get(), SECRET_COLLECTION_DEFAULT,
                             label.c_str(), secret.get(), cancellable, done, data);
    });
    GlibFailure failure;
    if (!secret_service_store_finish(service.get(), result.get(), failure.receiver()))
        failure.raise();
}

SecretServiceSession::Keyring SecretServiceSession::defaultKeyring() {
    const std::string collection = defaultCollection();
    if (collection.empty())
        return Keyring::missing;
    return isLocked(collection) ? Keyring::locked : Keyring::unlocked;
}

bool SecretServiceSession::isLocked(const std::string& collection) {
    const char* const name = g_dbus_proxy_get_name(G_DBUS_PROXY(service.get()));
    const auto result = calls.await([&](auto* cancellable, auto done, void* data) {
        g_dbus_connection_call(
            connection.get(), name, collection.c_str(), "org.freedesktop.DBus.Properties", "Get",
            g_variant_new("(ss)", collectionInterface, "Locked"), G_VARIANT_TYPE("(v)"),
            G_DBUS_CALL_FLAGS_NONE, -1, cancellable, done, data);
    });
    GlibFailure failure;
    const Variant reply(
        g_dbus_connection_call_finish(connection.get(), result.get(), failure.receiver()),
        g_variant_unref);
    if (!reply)
        failure.raise();
    GVariant* property = nullptr;
    g_variant_get(reply.get(), "(v)", &property);
    const Variant locked(property, g_variant_unref);
    return g_variant_is_of_type(locked.get(), G_VARIANT_TYPE_BOOLEAN) &&
           g_variant_get_boolean(locked.get());
}

std::string SecretServiceSession::defaultCollection() {
    const auto result = calls.await([&](auto* cancellable, auto done, void* data) {
        secret_service_read_alias_dbus_path(service.get(), SECRET_COLLECTION_DEFAULT, cancellable,
                                            done, data);
    });
    GlibFailure failure;
    const CText path(
        secret_service_read_alias_dbus_path_finish(service.get(), result.get(), failure.receiver()),
        g_free);
    if (failure)
        failure.raise();
    return path ? path.get() : "";
}

} // namespace tavik
