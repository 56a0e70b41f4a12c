#include "platform/desktop/DesktopRights.h"

#include "platform/desktop/BoundedCall.h"
#include "platform/desktop/DisplayCheck.h"
#include "platform/desktop/SessionBus.h"

#include <algorithm>
#include <csignal>
#include <map>
#include <unistd.h>
#include <utility>

namespace tavik {

namespace {

constexpr std::chrono::seconds patience{1};
constexpr const char* applicationID = "ai.tavik";

// The answer of a service on the session bus; none when there is none, or no service. The names are
// literals.
GioVariant ask(std::stop_token stop, const char* service, const char* path, const char* interface,
               const char* method, GVariant* parameters) {
    const std::shared_ptr<GVariant> kept(g_variant_ref_sink(parameters), ReleaseVariant());
    const auto call = [=](std::stop_token) {
        const auto bus = connectionToSession(nullptr);
        return GioVariant(bus ? g_dbus_connection_call_sync(
                                    bus.get(), service, path, interface, method, kept.get(),
                                    nullptr, G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr)
                              : nullptr);
    };
    return callWithin<GioVariant>(patience, std::move(stop), call).value_or(nullptr);
}

GioVariant askAccessibility(std::stop_token stop, const char* method, GVariant* parameters) {
    return ask(std::move(stop), "org.a11y.Bus", "/org/a11y/bus", "org.freedesktop.DBus.Properties",
               method, parameters);
}

DesktopRight rightOf(const char* word) {
    if (std::string_view(word) == "yes")
        return DesktopRight::granted;
    return std::string_view(word) == "no" ? DesktopRight::denied : DesktopRight::undecided;
}

// For each subject the commands of the desktops we know, the first that is installed.
const std::map<std::string_view, std::vector<std::vector<std::string>>>& settingsCommands() {
    static const std::map<std::string_view, std::vector<std::vector<std::string>>> commands = {
        {"microphone",
         {{"gnome-control-center", "microphone"},
          {"systemsettings", "kcm_pulseaudio"},
          {"systemsettings5", "kcm_pulseaudio"},
          {"pavucontrol"}}},
        {"voices",
         {{"gnome-control-center", "universal-access"},
          {"systemsettings", "kcm_access"},
          {"systemsettings5", "kcm_access"},
          {"orca", "--setup"}}},
    };
    return commands;
}

std::vector<std::vector<std::string>> commandsFor(std::string_view about) {
    const auto& known = settingsCommands();
    auto commands = known.at(about == "microphone" || about == "speech" ? "microphone" : "voices");
    commands.push_back({"xfce4-settings-manager"});
    commands.push_back({"mate-control-center"});
    commands.push_back({"cinnamon-settings"});
    return commands;
}

bool isInstalled(const std::string& program) {
    return !takenText(g_find_program_in_path(program.c_str())).empty();
}

} // namespace

DesktopRight microphoneRight(std::stop_token stop) {
    const auto answer = ask(std::move(stop), "org.freedesktop.impl.portal.PermissionStore",
                            "/org/freedesktop/impl/portal/PermissionStore",
                            "org.freedesktop.impl.portal.PermissionStore", "Lookup",
                            g_variant_new("(ss)", "devices", "microphone"));
    if (!answer || !g_variant_is_of_type(answer.get(), G_VARIANT_TYPE("(a{sas}v)")))
        return DesktopRight::undecided;
    const GioVariant rights(g_variant_get_child_value(answer.get(), 0));
    const GioVariant ours(
        g_variant_lookup_value(rights.get(), applicationID, G_VARIANT_TYPE("as")));
    const char* word = "";
    if (ours && g_variant_n_children(ours.get()) > 0)
        g_variant_get_child(ours.get(), 0, "&s", &word);
    return rightOf(word);
}

bool accessibilityIsOn(std::stop_token stop) {
    const auto answer = askAccessibility(std::move(stop), "Get",
                                         g_variant_new("(ss)", "org.a11y.Status", "IsEnabled"));
    if (!answer || !g_variant_is_of_type(answer.get(), G_VARIANT_TYPE("(v)")))
        return false;
    const GioVariant boxed(g_variant_get_child_value(answer.get(), 0));
    const GioVariant value(g_variant_get_variant(boxed.get()));
    return g_variant_is_of_type(value.get(), G_VARIANT_TYPE_BOOLEAN) &&
           g_variant_get_boolean(value.get());
}

void switchAccessibilityOn(std::stop_token stop) {
    askAccessibility(
        std::move(stop), "Set",
        g_variant_new("(ssv)", "org.a11y.Status", "IsEnabled", g_variant_new_boolean(TRUE)));
}

bool screenIsOpen(std::stop_token stop) {
    return !isWaylandSession() && xServerAnswers(std::move(stop));
}

bool sessionBusAnswers(std::stop_token stop) {
    return ask(std::move(stop), "org.freedesktop.DBus", "/org/freedesktop/DBus",
               "org.freedesktop.DBus", "GetId", g_variant_new("()")) != nullptr;
}

bool openSystemSettings(std::string_view about) {
    const auto commands = commandsFor(about);
    return std::any_of(commands.begin(), commands.end(), [](const auto& command) {
        return isInstalled(command.front()) && startDetached(command);
    });
}

bool startDetached(const std::vector<std::string>& command) {
    std::vector<char*> arguments;
    arguments.reserve(command.size() + 1);
    for (const std::string& argument : command)
        arguments.push_back(const_cast<char*>(argument.c_str()));
    arguments.push_back(nullptr);
    const auto flags = static_cast<GSpawnFlags>(G_SPAWN_SEARCH_PATH | G_SPAWN_STDOUT_TO_DEV_NULL);
    const auto inItsOwnSession = [](gpointer) {
        sigset_t none;
        sigemptyset(&none);
        sigprocmask(SIG_SETMASK, &none, nullptr); // ours holds back what shall end a program
        setsid();
    };
    return g_spawn_async("/", arguments.data(), nullptr, flags, inItsOwnSession, nullptr, nullptr,
                         nullptr) != FALSE;
}

} // namespace tavik
