#include "tests/platform/hotkey/ScriptedPortal.h"

#include <algorithm>
#include <utility>

namespace tavik {

namespace {

constexpr const char* desktopPath = "/org/freedesktop/portal/desktop";
constexpr const char* shortcutsInterface = "org.freedesktop.portal.GlobalShortcuts";

std::string optionIn(GVariant* arguments, const char* name) {
    GVariant* const options =
        g_variant_get_child_value(arguments, g_variant_n_children(arguments) - 1);
    const char* text = "";
    g_variant_lookup(options, name, "&s", &text);
    std::string found = text;
    g_variant_unref(options);
    return found;
}

std::string pathFor(const char* kind, std::string sender, const std::string& token) {
    std::ranges::replace(sender, '.', '_');
    return std::string(desktopPath) + "/" + kind + "/" + sender.substr(1) + "/" + token;
}

} // namespace

ScriptedPortal::ScriptedPortal(const std::string& address, Script script)
    : state(State{.script = std::move(script)})
    , peer(address, [this](const BusCall& call) { return answer(call); }) {
    peer.own("org.freedesktop.portal.Desktop");
}

std::vector<std::string> ScriptedPortal::calls() {
    return state.with([](State& now) { return now.calls; });
}

void ScriptedPortal::forgetCalls() {
    state.with([](State& now) { now.calls.clear(); });
}

void ScriptedPortal::learnTheShortcut() {
    state.with([](State& now) { now.script.knowsShortcut = true; });
}

std::string ScriptedPortal::client() {
    return state.with([](State& now) { return now.client; });
}

GVariant* ScriptedPortal::answer(const BusCall& call) {
    return state.with([&](State& now) -> GVariant* {
        now.client = call.sender;
        now.calls.push_back(call.member);
        if (call.member == "Register") {
            const char* id = "";
            g_variant_get_child(call.arguments, 0, "&s", &id);
            now.calls.back() += " " + std::string(id);
            return g_variant_new("()");
        }
        if (call.member == "Close" || now.script.isSilent)
            return call.member == "Close" ? nullptr : g_variant_new("(o)", "/elsewhere");
        if (!now.script.hasShortcuts)
            throw BusError{"org.freedesktop.DBus.Error.UnknownMethod"};
        return request(now, call);
    });
}

// The response may well overtake the reply.
GVariant* ScriptedPortal::request(State& now, const BusCall& call) {
    const std::string path =
        pathFor("request", call.sender, optionIn(call.arguments, "handle_token"));
    unsigned response = 0;
    if (GVariant* const results = resultsOf(now, call, response))
        peer.tell(path, "org.freedesktop.portal.Request", "Response",
                  g_variant_new("(u@a{sv})", response, results));
    return now.script.isConfused ? g_variant_new("(s)", "done")
                                 : g_variant_new("(o)", path.c_str());
}

GVariant* ScriptedPortal::resultsOf(State& now, const BusCall& call, unsigned& response) {
    GVariantBuilder results;
    g_variant_builder_init(&results, G_VARIANT_TYPE_VARDICT);
    if (call.member == "CreateSession") {
        now.session =
            pathFor("session", call.sender, optionIn(call.arguments, "session_handle_token"));
        g_variant_builder_add(&results, "{sv}", "session_handle",
                              g_variant_new_string(now.session.c_str()));
    } else if (call.member == "BindShortcuts") {
        const char* id = "";
        const char* trigger = "";
        GVariant* const wanted = g_variant_get_child_value(call.arguments, 1);
        GVariant* properties = nullptr;
        g_variant_get_child(wanted, 0, "(&s@a{sv})", &id, &properties);
        g_variant_lookup(properties, "preferred_trigger", "&s", &trigger);
        now.shortcut = id;
        now.calls.back() += " " + std::string(trigger);
        g_variant_unref(properties);
        g_variant_unref(wanted);
        response = now.script.userSays;
    }
    const bool isListed = call.member == "BindShortcuts" ||
                          (call.member == "ListShortcuts" && now.script.knowsShortcut);
    if (isListed)
        g_variant_builder_add(&results, "{sv}", "shortcuts", shortcuts(now, now.script.keys));
    const bool isAnswered = call.member != "BindShortcuts" || now.script.doesUserAnswer;
    GVariant* const all = g_variant_ref_sink(g_variant_builder_end(&results));
    return isAnswered ? all : (g_variant_unref(all), nullptr);
}

GVariant* ScriptedPortal::shortcuts(const State& now, const std::string& keys) {
    GVariantBuilder list;
    g_variant_builder_init(&list, G_VARIANT_TYPE("a(sa{sv})"));
    for (const std::string& id : {std::string("another"), now.shortcut}) {
        g_variant_builder_open(&list, G_VARIANT_TYPE("(sa{sv})"));
        g_variant_builder_add(&list, "s", id.c_str());
        g_variant_builder_open(&list, G_VARIANT_TYPE_VARDICT);
        g_variant_builder_add(&list, "{sv}", "trigger_description",
                              g_variant_new_string(keys.c_str()));
        g_variant_builder_close(&list);
        g_variant_builder_close(&list);
    }
    return g_variant_builder_end(&list);
}

void ScriptedPortal::tell(const std::string& signal, const std::string& session) {
    state.with([&](State& now) {
        peer.tell(desktopPath, shortcutsInterface, signal,
                  g_variant_new("(ost@a{sv})", (session.empty() ? now.session : session).c_str(),
                                now.shortcut.c_str(), 7UL,
                                g_variant_new_array(G_VARIANT_TYPE("{sv}"), nullptr, 0)));
    });
}

void ScriptedPortal::tellOfNewKeys(const std::string& keys) {
    state.with([&](State& now) {
        peer.tell(desktopPath, shortcutsInterface, "ShortcutsChanged",
                  g_variant_new("(o@a(sa{sv}))", now.session.c_str(), shortcuts(now, keys)));
    });
}

void ScriptedPortal::closeSession() {
    state.with([&](State& now) {
        peer.tell(
            now.session, "org.freedesktop.portal.Session", "Closed",
            g_variant_new("(@a{sv})", g_variant_new_array(G_VARIANT_TYPE("{sv}"), nullptr, 0)));
    });
}

bool ScriptedPortal::isOnBus(const std::string& name) {
    try {
        peer.callForText("org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
                         "GetNameOwner", g_variant_new("(s)", name.c_str()));
        return true;
    } catch (const std::runtime_error&) {
        return false;
    }
}

} // namespace tavik
