#include "platform/secrets/QuietSecretService.h"

#include <libsecret/secret.h>

namespace tavik {

namespace {

GError* refusal() {
    return g_error_new_literal(SECRET_ERROR, SECRET_ERROR_IS_LOCKED, "prompts are not shown");
}

GVariant* refuse(SecretService*, SecretPrompt*, GCancellable*, const GVariantType*,
                 GError** error) {
    g_propagate_error(error, refusal());
    return nullptr;
}

void refuseLater(SecretService* service, SecretPrompt*, const GVariantType*,
                 GCancellable* cancellable, GAsyncReadyCallback done, gpointer data) {
    GTask* const task = g_task_new(service, cancellable, done, data);
    g_task_return_error(task, refusal());
    g_object_unref(task);
}

GVariant* finishRefusal(SecretService*, GAsyncResult* result, GError** error) {
    return static_cast<GVariant*>(g_task_propagate_pointer(G_TASK(result), error));
}

// The usual service takes the connection to the bus that the whole program shares, whatever
// connection it was given, and reads all it can before it is used.
GObject* construct(GType type, guint count, GObjectConstructParam* properties) {
    const auto usual = G_OBJECT_CLASS(g_type_class_peek(SECRET_TYPE_SERVICE))->constructor;
    GObject* const service = usual(type, count, properties);
    const int flags =
        G_DBUS_PROXY_FLAGS_DO_NOT_LOAD_PROPERTIES | G_DBUS_PROXY_FLAGS_DO_NOT_CONNECT_SIGNALS;
    g_object_set(service, "g-bus-type", G_BUS_TYPE_NONE, "g-flags", flags, nullptr);
    return service;
}

void overrideMethods(gpointer type, gpointer) {
    G_OBJECT_CLASS(type)->constructor = construct;
    SecretServiceClass* const service = SECRET_SERVICE_CLASS(type);
    service->prompt_sync = refuse;
    service->prompt_async = refuseLater;
    service->prompt_finish = finishRefusal;
}

GType registerType() {
    GTypeQuery parent;
    g_type_query(SECRET_TYPE_SERVICE, &parent);
    return g_type_register_static_simple(SECRET_TYPE_SERVICE, "TavikQuietSecretService",
                                         parent.class_size, overrideMethods, parent.instance_size,
                                         nullptr, G_TYPE_FLAG_NONE);
}

} // namespace

unsigned long quietSecretServiceType() {
    static const GType type = registerType();
    return type;
}

} // namespace tavik
