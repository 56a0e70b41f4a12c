#include "platform/hotkey/PortalShortcuts.h"

#include "platform/hotkey/KeyTable.h"
#include "tests/platform/hotkey/ScriptedPortal.h"
#include "tests/support/Eventually.h"
#include "tools/stand-ins/services/PrivateBus.h"

#include <gmock/gmock.h>

using namespace std::chrono_literals;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

namespace tavik {

namespace {

constexpr std::uint32_t letterK = 40;
constexpr PortalPatience quick{.answer = 200ms, .user = 200ms, .pause = 5ms};
constexpr PortalPatience patient{.answer = 60s, .user = 1h, .pause = 5ms};

class PortalShortcutsTest : public testing::Test {
protected:
    struct News {
        int presses = 0;
        std::vector<std::string> granted;
        std::vector<int> lost;
    };

    PortalShortcutsTest() {
        unsetenv("DISPLAY");
        setenv("DBUS_SESSION_BUS_ADDRESS", bus.address().c_str(), 1);
    }
    ~PortalShortcutsTest() override { setenv("DBUS_SESSION_BUS_ADDRESS", "disabled:", 1); }

    auto add(PortalPatience patience) {
        const auto shortcuts = makePortalShortcuts({"org.test.App", "Talk"}, patience);
        return shortcuts->add(letterK, modifier::control | modifier::command,
                              {.pressed = [this] { news.with([](News& now) { ++now.presses; }); },
                               .granted =
                                   [this](const std::string& keys) {
                                       news.with([&](News& now) { now.granted.push_back(keys); });
                                   },
                               .lost =
                                   [this](const ShortcutError& error) {
                                       news.with(
                                           [&](News& now) { now.lost.push_back(error.status); });
                                   }});
    }

    std::vector<std::string> granted() {
        return news.with([](News& now) { return now.granted; });
    }
    std::vector<int> lost() {
        return news.with([](News& now) { return now.lost; });
    }
    bool pressesBecome(int count) {
        return eventually(
            [&] { return news.with([](News& now) { return now.presses; }) == count; });
    }

    PrivateBus bus;
    Locked<News> news;
};

} // namespace

TEST_F(PortalShortcutsTest, AsksTheUserAndHearsEachPressOfItsOwnShortcut) {
    ScriptedPortal portal(bus.address(), {});
    auto registration = add(patient);
    ASSERT_TRUE(eventually([&] { return !granted().empty(); }));
    EXPECT_THAT(granted(), ElementsAre("Meta+K"));
    EXPECT_THAT(portal.calls(), ElementsAre("Register org.test.App", "CreateSession",
                                            "ListShortcuts", "BindShortcuts CTRL+LOGO+k"));
    portal.tell("Activated");
    portal.tell("Activated"); // held down
    portal.tell("Activated", "/org/freedesktop/portal/desktop/session/of/another");
    portal.tell("Deactivated");
    portal.tell("Activated");
    EXPECT_TRUE(pressesBecome(2));
    portal.tellOfNewKeys("F9");
    EXPECT_TRUE(eventually([&] { return granted().size() == 2 && granted().back() == "F9"; }));
    EXPECT_TRUE(pressesBecome(2));
    const std::string client = portal.client();
    registration.reset();
    EXPECT_TRUE(eventually([&] { return !portal.isOnBus(client); }))
        << "its end frees the shortcut";
    EXPECT_THAT(lost(), IsEmpty());
}

TEST_F(PortalShortcutsTest, TellsWhyThereIsNoShortcut) {
    struct Case {
        const char* what;
        ScriptedPortal::Script script;
        int status;
        std::string lastCall;
    };
    const std::vector<Case> cases = {
        {"no such portal", {.hasShortcuts = false}, ShortcutError::noService, "CreateSession"},
        {"the user refuses",
         {.userSays = 1},
         ShortcutError::userRefused,
         "BindShortcuts CTRL+LOGO+k"},
        {"the portal fails", {.userSays = 2}, 2, "BindShortcuts CTRL+LOGO+k"},
        {"the user never answers", {.doesUserAnswer = false}, ETIMEDOUT, "Close"},
        {"the portal never answers", {.isSilent = true}, ETIMEDOUT, "Close"},
        {"the portal talks nonsense", {.isConfused = true}, ETIMEDOUT, "CreateSession"},
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(each.what);
        ScriptedPortal portal(bus.address(), each.script);
        news.with([](News& now) { now = {}; });
        const auto registration = add(quick);
        ASSERT_TRUE(eventually([&] { return !lost().empty(); }));
        EXPECT_THAT(lost(), ElementsAre(each.status));
        EXPECT_THAT(granted(), IsEmpty());
        EXPECT_TRUE(eventually([&] { return portal.calls().back() == each.lastCall; }));
    }
    news.with([](News& now) { now = {}; });
    const auto withoutPortal = add(quick);
    EXPECT_TRUE(eventually([&] { return lost() == std::vector{ShortcutError::noService}; }));
    setenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent", 1);
    const auto withoutBus = add(quick);
    EXPECT_TRUE(eventually([&] { return lost().size() == 2; }));
    EXPECT_EQ(lost().back(), ShortcutError::noService);
}

TEST_F(PortalShortcutsTest, ComesBackWithAPortalThatEndsAndWithANewSession) {
    auto portal = std::make_unique<ScriptedPortal>(bus.address(), ScriptedPortal::Script{});
    const auto registration = add(patient);
    ASSERT_TRUE(eventually([&] { return granted().size() == 1; }));
    portal->closeSession();
    ASSERT_TRUE(eventually([&] { return granted().size() == 2; }));
    portal->tell("Activated");
    EXPECT_TRUE(pressesBecome(1));
    portal.reset();
    portal = std::make_unique<ScriptedPortal>(bus.address(), ScriptedPortal::Script{});
    ASSERT_TRUE(eventually([&] { return granted().size() == 3; }));
    portal->tell("Activated");
    EXPECT_TRUE(pressesBecome(2));
    EXPECT_THAT(lost(), IsEmpty());
}

TEST_F(PortalShortcutsTest, DoesNotAskAgainForWhatTheDesktopKnows) {
    ScriptedPortal portal(bus.address(), {});
    auto registration = add(patient);
    ASSERT_TRUE(eventually([&] { return granted().size() == 1; }));
    portal.learnTheShortcut();
    portal.forgetCalls();
    registration = add(patient);
    ASSERT_TRUE(eventually([&] { return granted().size() == 2; }));
    EXPECT_THAT(portal.calls(), Contains("ListShortcuts"));
    EXPECT_THAT(portal.calls(), testing::Not(Contains("BindShortcuts CTRL+LOGO+k")));
}

TEST_F(PortalShortcutsTest, IsGivenBackWhileTheUserIsAsked) {
    ScriptedPortal portal(bus.address(), {.doesUserAnswer = false});
    auto registration = add(patient);
    ASSERT_TRUE(eventually([&] { return portal.calls().size() == 4; }));
    registration.reset();
    EXPECT_TRUE(eventually([&] { return !portal.isOnBus(portal.client()); }));
    EXPECT_THAT(lost(), IsEmpty());
}

TEST_F(PortalShortcutsTest, AreTheOnesOfAWaylandSessionAndOfOneWithoutAnXServer) {
    const ShortcutPurpose purpose{"org.test.App", "Talk"};
    EXPECT_TRUE(makeGlobalShortcuts(purpose)->asksTheUser());
    setenv("WAYLAND_DISPLAY", "wayland-9", 1);
    const auto shortcuts = makeGlobalShortcuts(purpose);
    unsetenv("WAYLAND_DISPLAY");
    EXPECT_TRUE(shortcuts->asksTheUser());
    EXPECT_EQ(shortcuts->substitute(), nullptr);
    EXPECT_EQ(shortcuts->characterOf(letterK), "k");
    EXPECT_EQ(shortcuts->characterOf(36), ""); // Return
    EXPECT_THROW(shortcuts->add(200, 0, {}), ShortcutError);
}

} // namespace tavik
