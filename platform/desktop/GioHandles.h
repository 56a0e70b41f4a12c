#pragma once

#include <gio/gio.h>
#include <memory>
#include <string>

// Owners for what GLib hands out. Private to platform/.
namespace tavik {

struct ReleaseObject {
    void operator()(void* object) const { g_object_unref(object); }
};
struct ReleaseVariant {
    void operator()(GVariant* value) const { g_variant_unref(value); }
};
struct ReleaseContext {
    void operator()(GMainContext* context) const { g_main_context_unref(context); }
};
struct ReleaseError {
    void operator()(GError* error) const { g_error_free(error); }
};

template<typename Object>
using GioObject = std::unique_ptr<Object, ReleaseObject>;
using GioVariant = std::unique_ptr<GVariant, ReleaseVariant>;
using GioContext = std::unique_ptr<GMainContext, ReleaseContext>;
using GioError = std::unique_ptr<GError, ReleaseError>;

// Takes a text that GLib allocated; none is an empty one.
inline std::string takenText(char* text) {
    const std::unique_ptr<char, decltype(&g_free)> owner(text, g_free);
    return text ? text : "";
}

inline std::string borrowedText(const char* text) {
    return text ? text : "";
}

} // namespace tavik
