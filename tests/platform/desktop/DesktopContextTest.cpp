#include "platform/desktop/BoundedCall.h"
#include "platform/desktop/XConnection.h"
#include "tests/platform/desktop/BusPeer.h"
#include "tests/platform/desktop/DesktopTest.h"
#include "tools/stand-ins/services/PrivateBus.h"

#include <thread>

namespace tavik {
namespace {

using namespace std::chrono_literals;

constexpr auto limit = 400ms; // 150 and a busy machine

class DesktopContextTest : public DesktopTest {};

TEST_F(DesktopContextTest, NamesTheFrontmostAndTheOpenApplications) {
    EXPECT_EQ(context(), "unknown | ");
    const auto panel = showWindow("Panel", "DOCK", "");
    auto first = showWindow("First");
    const auto second = showWindow("Second");
    const auto again = showWindow("First");
    EXPECT_EQ(context(), "First | First, Second");

    second->suspend();
    EXPECT_LT(timeOf([] { EXPECT_EQ(context(), "First | First, Second"); }), limit);
    first.reset();
    again->kill();
    EXPECT_TRUE(eventually([] { return context() == "Second | Second"; })) << context();
}

// On a display of its own: on a busy machine they can leave the window manager confused for good.
TEST_F(DesktopContextTest, SurvivesWindowsThatVanishMeanwhile) {
    PrivateDisplay other;
    other.startWindowManager();
    setenv("DISPLAY", other.name().c_str(), 1);
    const std::jthread reader([](std::stop_token stop) {
        while (!stop.stop_requested())
            readDesktopContext();
    });
    for (int time = 0; time < 10; ++time) {
        std::vector<std::unique_ptr<ChildProcess>> windows;
        for (int count = 0; count < 5; ++count)
            windows.push_back(showWindow("Brief", "DIALOG", ""));
        std::this_thread::sleep_for(20ms);
    }
    EXPECT_TRUE(eventually([] { return context() == "unknown | "; }));
}

TEST_F(DesktopContextTest, IsUnknownWhereNobodyManagesOrAnswers) {
    const auto window = showWindow("Window");
    display().windowManager().kill();
    EXPECT_EQ(context(), "unknown | ");
    display().startWindowManager();
    EXPECT_TRUE(eventually([] { return context().ends_with("| Window"); })) << context();

    display().server().suspend();
    EXPECT_LT(timeOf([] { EXPECT_EQ(context(), "unknown | "); }), limit);
    display().server().resume();
    EXPECT_TRUE(eventually([] { return context().ends_with("| Window"); })) << context();

    setenv("WAYLAND_DISPLAY", "wayland-7", 1);
    unsetenv("DISPLAY");
    EXPECT_EQ(context(), "unknown | ");
    unsetenv("WAYLAND_DISPLAY");
    EXPECT_EQ(context(), "unknown | ");
}

TEST_F(DesktopContextTest, SurvivesTheEndOfTheDisplay) {
    PrivateDisplay other;
    setenv("DISPLAY", other.name().c_str(), 1);
    EXPECT_TRUE(runWithin(10s, {}, [&other](const std::stop_token&) {
        const auto connection = XConnection::open();
        other.server().kill();
        for (int time = 0; time < 2; ++time)
            EXPECT_EQ(connection->number(connection->root(), "_NET_ACTIVE_WINDOW"), 0u);
    }));
    EXPECT_EQ(context(), "unknown | ");
}

// An application on the accessibility bus, with one window.
class AccessibleProgram {
public:
    AccessibleProgram(const std::string& bus, std::string ownName, std::uint32_t role,
                      std::uint32_t state)
        : peer(bus, [=, this](const BusCall& call) { return answer(call, ownName, role, state); }) {
        GVariant* const root = g_variant_new("((so))", peer.uniqueName().c_str(), "/root");
        peer.callForText("org.a11y.atspi.Registry", "/org/a11y/atspi/accessible/root",
                         "org.a11y.atspi.Socket", "Embed", root);
        isSilent = ownName == "Silent";
    }

private:
    GVariant* answer(const BusCall& call, const std::string& name, std::uint32_t role,
                     std::uint32_t state) {
        if (isSilent)
            return nullptr;
        if (call.member == "Get")
            return g_variant_new("(v)", g_variant_new_string(name.c_str()));
        if (call.member == "GetRole")
            return g_variant_new("(u)", role);
        if (call.member == "GetState") {
            const std::uint32_t states[] = {state, 0};
            return g_variant_new("(@au)", g_variant_new_fixed_array(G_VARIANT_TYPE_UINT32, states,
                                                                    2, sizeof *states));
        }
        if (call.member != "GetChildren")
            return g_variant_new("()");
        GVariant* const window = g_variant_new("(so)", peer.uniqueName().c_str(), "/window");
        return g_variant_new("(@a(so))", g_variant_new_array(G_VARIANT_TYPE("(so)"), &window, 1));
    }

    std::atomic<bool> isSilent = false;
    BusPeer peer;
};

TEST_F(DesktopContextTest, IsToldByTheAccessibilityBusUnderWayland) {
    constexpr std::uint32_t active = 1U << 1;
    constexpr std::uint32_t showing = 1U << 25;
    constexpr std::uint32_t frame = 23;
    constexpr std::uint32_t popup = 69;
    PrivateBus session;
    setenv("DBUS_SESSION_BUS_ADDRESS", session.address().c_str(), 1);
    setenv("WAYLAND_DISPLAY", "wayland-7", 1);
    const auto ofX11 = showWindow("Old", "NORMAL", "");
    BusPeer user(session.address(), [](const BusCall&) { return nullptr; });
    const std::string bus =
        user.callForText("org.a11y.Bus", "/org/a11y/bus", "org.a11y.Bus", "GetAddress", nullptr);
    const AccessibleProgram shell(bus, "Shell", popup, showing | active);
    const AccessibleProgram editor(bus, "Editor", frame, showing);
    const AccessibleProgram silent(bus, "Silent", frame, showing | active);
    const AccessibleProgram terminal(bus, "Terminal", frame, showing | active);
    const AccessibleProgram service(bus, "Service", frame, 0);
    ASSERT_TRUE(eventually([] { return context() == "Old | Old"; })) << context();

    user.callForText(
        "org.a11y.Bus", "/org/a11y/bus", "org.freedesktop.DBus.Properties", "Set",
        g_variant_new("(ssv)", "org.a11y.Status", "IsEnabled", g_variant_new_boolean(TRUE)));
    // One application never answers, so that every look takes all its time.
    EXPECT_TRUE(eventually([] { return context() == "Terminal | Editor, Terminal, Old"; }))
        << context();
    EXPECT_LT(timeOf([] { context(); }), limit);
}

} // namespace
} // namespace tavik
