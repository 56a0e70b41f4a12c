#include "tests/system/ScriptedTray.h"

#include <memory>

namespace tavik {

namespace {

constexpr const char* itemPath = "/StatusNotifierItem";
constexpr const char* itemInterface = "org.kde.StatusNotifierItem";
constexpr const char* menuInterface = "com.canonical.dbusmenu";

constexpr const char* description = R"(<node><interface name="org.kde.StatusNotifierWatcher">
<method name="RegisterStatusNotifierItem"><arg type="s" direction="in"/></method>
<property name="IsStatusNotifierHostRegistered" type="b" access="read"/>
</interface></node>)";

using Variant = std::unique_ptr<GVariant, decltype(&g_variant_unref)>;

Variant owned(GVariant* value) {
    return {value, g_variant_unref};
}

// Whether something in the dictionary says no.
bool isOff(GVariant* properties, const char* name) {
    gboolean value = TRUE;
    return g_variant_lookup(properties, name, "b", &value) == TRUE && value == FALSE;
}

std::optional<int> findEntry(GVariant* entry, const std::string& wanted) {
    int id = 0;
    GVariant* properties = nullptr;
    GVariant* children = nullptr;
    g_variant_get(entry, "(i@a{sv}@av)", &id, &properties, &children);
    const Variant ownProperties = owned(properties);
    const Variant ownChildren = owned(children);
    const char* label = "";
    g_variant_lookup(properties, "label", "&s", &label);
    if (wanted == label && !isOff(properties, "visible") && !isOff(properties, "enabled"))
        return id;
    for (std::size_t index = 0; index < g_variant_n_children(children); ++index) {
        const Variant boxed = owned(g_variant_get_child_value(children, index));
        const Variant child = owned(g_variant_get_variant(boxed.get()));
        if (const auto found = findEntry(child.get(), wanted))
            return found;
    }
    return std::nullopt;
}

} // namespace

ScriptedTray::ScriptedTray(const std::string& address)
    : peer(address, [this](const BusCall& call) { return answer(call); }) {
    peer.own("org.kde.StatusNotifierWatcher");
}

GVariant* ScriptedTray::answer(const BusCall& call) {
    if (call.member == "Introspect")
        return g_variant_new("(s)", description);
    if (call.member == "Get")
        return g_variant_new("(v)", g_variant_new_boolean(TRUE)); // there is a host
    if (call.member != "RegisterStatusNotifierItem")
        throw BusError{"org.freedesktop.DBus.Error.UnknownMethod"};
    const char* name = "";
    g_variant_get_child(call.arguments, 0, "&s", &name);
    registered.with([&](auto& names) { names.emplace_back(name); });
    return g_variant_new("()");
}

std::vector<std::string> ScriptedTray::items() {
    return registered.with([](auto& names) { return names; });
}

std::string ScriptedTray::item() {
    return registered.with([](auto& names) { return names.empty() ? "" : names.back(); });
}

GVariant* ScriptedTray::property(const char* name) {
    const Variant reply =
        owned(peer.call(item().c_str(), itemPath, "org.freedesktop.DBus.Properties", "Get",
                        g_variant_new("(ss)", itemInterface, name)));
    GVariant* value = nullptr;
    g_variant_get(reply.get(), "(v)", &value);
    return value;
}

std::string ScriptedTray::toolTip() {
    const Variant value = owned(property("ToolTip"));
    const char* title = "";
    g_variant_get_child(value.get(), 2, "&s", &title);
    return title;
}

std::size_t ScriptedTray::icon() {
    const Variant value = owned(property("IconPixmap"));
    const std::string_view pixels(static_cast<const char*>(g_variant_get_data(value.get())),
                                  g_variant_get_size(value.get()));
    return std::hash<std::string_view>()(pixels);
}

std::string ScriptedTray::menuPath() {
    const Variant value = owned(property("Menu"));
    return g_variant_get_string(value.get(), nullptr);
}

std::optional<int> ScriptedTray::menuEntry(const std::string& label) {
    const Variant reply = owned(peer.call(
        item().c_str(), menuPath().c_str(), menuInterface, "GetLayout",
        g_variant_new("(ii@as)", 0, -1, g_variant_new_array(G_VARIANT_TYPE_STRING, nullptr, 0))));
    const Variant root = owned(g_variant_get_child_value(reply.get(), 1));
    return findEntry(root.get(), label);
}

void ScriptedTray::choose(int entry) {
    const Variant reply =
        owned(peer.call(item().c_str(), menuPath().c_str(), menuInterface, "Event",
                        g_variant_new("(isvu)", entry, "clicked", g_variant_new_int32(0), 0U)));
}

} // namespace tavik
