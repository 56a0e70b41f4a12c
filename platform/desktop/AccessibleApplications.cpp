#include "platform/desktop/AccessibleApplications.h"

#include "platform/desktop/GioCalls.h"
#include "platform/desktop/SessionBus.h"

#include <algorithm>
#include <optional>

// The interfaces are those of AT-SPI 2. Its own library is not used, since it ends the program when
// there is no such bus.
namespace tavik {

namespace {

using std::chrono::steady_clock;

constexpr std::size_t mostApplications = 128;
constexpr std::size_t mostWindows = 32; // of one application

constexpr std::uint32_t dialogRole = 16;
constexpr std::uint32_t frameRole = 23;
constexpr std::uint32_t activeState = 1U << 1;
constexpr std::uint32_t showingState = 1U << 25;
constexpr std::uint32_t visibleState = 1U << 30;

constexpr const char* accessible = "org.a11y.atspi.Accessible";

// An object on a bus: who has it, and its path.
struct Place {
    std::string owner;
    std::string path;
};

int millisecondsUntil(steady_clock::time_point deadline) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - steady_clock::now());
    return static_cast<int>(std::max<std::chrono::milliseconds::rep>(left.count(), 1));
}

GVariant* getter(const char* interface, const char* property) {
    return g_variant_new("(ss)", interface, property);
}

// What a property's getter replies.
GioVariant propertyIn(GVariant* reply) {
    GVariant* value = nullptr;
    g_variant_get(reply, "(v)", &value);
    return GioVariant(value);
}

std::vector<Place> placesIn(GVariant* reply, std::size_t most) {
    const GioVariant list(g_variant_get_child_value(reply, 0));
    std::vector<Place> places;
    for (gsize index = 0; index < std::min(g_variant_n_children(list.get()), most); ++index) {
        const char* owner = nullptr;
        const char* path = nullptr;
        const GioVariant child(g_variant_get_child_value(list.get(), index));
        g_variant_get(child.get(), "(&s&o)", &owner, &path);
        places.push_back({owner, path});
    }
    return places;
}

// One look at the bus.
class AccessibilityBus {
public:
    AccessibilityBus(steady_clock::time_point limit, const std::stop_token& stop)
        : deadline(limit)
        , calls(stop) {}

    std::vector<AccessibleApplication> applications();

private:
    using OnReply = std::function<void(GVariant*)>;

    std::string address() const;
    GioVariant call(GDBusConnection* bus, const Place& place, const char* interface,
                    const char* method, GVariant* arguments, const char* replyType) const;
    void ask(const Place& place, const char* interface, const char* method, GVariant* arguments,
             const char* replyType, const OnReply& onReply);
    void askApplication(const Place& place, AccessibleApplication& application);
    void askWindow(const Place& place, AccessibleApplication& application);

    const steady_clock::time_point deadline;
    GioCalls calls;
    GioObject<GDBusConnection> connection;
};

std::vector<AccessibleApplication> AccessibilityBus::applications() {
    const std::string busAddress = address();
    if (busAddress.empty())
        return {};
    connection = connectionTo(busAddress, calls.cancellable());
    if (!connection)
        return {};
    const auto reply =
        call(connection.get(), {"org.a11y.atspi.Registry", "/org/a11y/atspi/accessible/root"},
             accessible, "GetChildren", nullptr, "(a(so))");
    const auto places = reply ? placesIn(reply.get(), mostApplications) : std::vector<Place>();
    std::vector<AccessibleApplication> found(places.size());
    for (std::size_t index = 0; index < places.size(); ++index)
        askApplication(places[index], found[index]);
    calls.awaitAll(deadline);
    return found;
}

// Empty where accessibility is not in use. Nothing is started by asking.
std::string AccessibilityBus::address() const {
    const auto session = connectionToSession(calls.cancellable());
    if (!session)
        return "";
    const Place launcher{"org.a11y.Bus", "/org/a11y/bus"};
    const auto status = call(session.get(), launcher, "org.freedesktop.DBus.Properties", "Get",
                             getter("org.a11y.Status", "IsEnabled"), "(v)");
    const auto isEnabled = status ? propertyIn(status.get()) : nullptr;
    if (!isEnabled || !g_variant_is_of_type(isEnabled.get(), G_VARIANT_TYPE_BOOLEAN) ||
        g_variant_get_boolean(isEnabled.get()) == FALSE)
        return "";
    const auto reply = call(session.get(), launcher, "org.a11y.Bus", "GetAddress", nullptr, "(s)");
    const char* found = "";
    if (reply)
        g_variant_get(reply.get(), "(&s)", &found);
    return found;
}

GioVariant AccessibilityBus::call(GDBusConnection* bus, const Place& place, const char* interface,
                                  const char* method, GVariant* arguments,
                                  const char* replyType) const {
    return GioVariant(g_dbus_connection_call_sync(
        bus, place.owner.c_str(), place.path.c_str(), interface, method, arguments,
        G_VARIANT_TYPE(replyType), G_DBUS_CALL_FLAGS_NO_AUTO_START, millisecondsUntil(deadline),
        calls.cancellable(), nullptr));
}

void AccessibilityBus::ask(const Place& place, const char* interface, const char* method,
                           GVariant* arguments, const char* replyType, const OnReply& onReply) {
    g_dbus_connection_call(
        connection.get(), place.owner.c_str(), place.path.c_str(), interface, method, arguments,
        G_VARIANT_TYPE(replyType), G_DBUS_CALL_FLAGS_NO_AUTO_START, G_MAXINT, calls.cancellable(),
        GioCalls::onResult, calls.expect([onReply](GObject* bus, GAsyncResult* result) {
            const GioVariant reply(
                g_dbus_connection_call_finish(G_DBUS_CONNECTION(bus), result, nullptr));
            if (reply)
                onReply(reply.get());
        }));
}

void AccessibilityBus::askApplication(const Place& place, AccessibleApplication& application) {
    RunningProgram& program = application.program;
    ask(place, "org.freedesktop.DBus.Properties", "Get", getter(accessible, "Name"), "(v)",
        [&program](GVariant* reply) {
            const auto name = propertyIn(reply);
            if (g_variant_is_of_type(name.get(), G_VARIANT_TYPE_STRING))
                program.className = g_variant_get_string(name.get(), nullptr);
        });
    ask({"org.freedesktop.DBus", "/org/freedesktop/DBus"}, "org.freedesktop.DBus",
        "GetConnectionUnixProcessID", g_variant_new("(s)", place.owner.c_str()), "(u)",
        [&program](GVariant* reply) {
            guint32 number = 0;
            g_variant_get(reply, "(u)", &number);
            program.process = static_cast<pid_t>(number);
        });
    ask(place, accessible, "GetChildren", nullptr, "(a(so))",
        [this, &application](GVariant* reply) {
            for (const Place& window : placesIn(reply, mostWindows))
                askWindow(window, application);
        });
}

void AccessibilityBus::askWindow(const Place& place, AccessibleApplication& application) {
    ask(place, accessible, "GetRole", nullptr, "(u)",
        [this, place, &application](GVariant* roleReply) {
            guint32 role = 0;
            g_variant_get(roleReply, "(u)", &role);
            if (role != frameRole && role != dialogRole)
                return;
            ask(place, accessible, "GetState", nullptr, "(au)", [&application](GVariant* reply) {
                const GioVariant states(g_variant_get_child_value(reply, 0));
                guint32 state = 0;
                if (g_variant_n_children(states.get()) > 0)
                    g_variant_get_child(states.get(), 0, "u", &state);
                application.hasWindow |= (state & (showingState | visibleState)) != 0;
                application.isActive |= (state & activeState) != 0;
            });
        });
}

} // namespace

std::vector<AccessibleApplication>
accessibleApplications(std::chrono::steady_clock::time_point deadline,
                       const std::stop_token& stop) {
    return AccessibilityBus(deadline, stop).applications();
}

} // namespace tavik
