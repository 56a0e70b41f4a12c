#include "platform/desktop/XConnection.h"
#include "tests/platform/hotkey/PressedKeys.h"
#include "tests/support/Eventually.h"
#include "tests/system/RunningTavik.h"
#include "tests/system/SessionManager.h"
#include "tools/stand-ins/services/PrivateDisplay.h"
#include "tools/stand-ins/services/PrivatePulseAudio.h"

#include <algorithm>
#include <filesystem>
#include <thread>

using namespace std::chrono_literals;
using testing::HasSubstr;

namespace tavik {

namespace {

constexpr std::uint32_t f9 = 0xffc6;

// The real program on an X server of its own.
class DesktopRunTest : public testing::Test {
protected:
    DesktopRunTest() {
        display.startWindowManager();
        setenv("DISPLAY", display.name().c_str(), 1);
    }
    ~DesktopRunTest() override { unsetenv("DISPLAY"); }

    // The titles of the windows that the window manager knows.
    static std::vector<std::string> windows() {
        const auto x = XConnection::open();
        std::vector<std::string> titles;
        if (x)
            for (const auto window : x->numbers(x->ask(x->root(), "_NET_CLIENT_LIST")))
                titles.push_back(x->text(x->ask(window, "_NET_WM_NAME")));
        return titles;
    }

    // Whether the window manager holds that state of the window with that title.
    static bool hasState(const std::string& title, const char* state) {
        const auto x = XConnection::open();
        for (const auto window : x->numbers(x->ask(x->root(), "_NET_CLIENT_LIST")))
            if (x->text(x->ask(window, "_NET_WM_NAME")) == title)
                return std::ranges::count(x->numbers(x->ask(window, "_NET_WM_STATE")),
                                          x->atom(state)) == 1;
        return false;
    }

    static bool shows(const std::string& title) {
        return eventually([&] {
            const auto titles = windows();
            return std::ranges::count(titles, title) > 0;
        });
    }

    // Whether a window with that title is on the screen, whoever manages it.
    static bool isMapped(XConnection& x, const std::string& title) {
        const XReply<xcb_query_tree_reply_t> tree(
            xcb_query_tree_reply(x.get(), xcb_query_tree(x.get(), x.root()), nullptr));
        for (int index = 0; tree && index < xcb_query_tree_children_length(tree.get()); ++index) {
            const xcb_window_t window = xcb_query_tree_children(tree.get())[index];
            const XReply<xcb_get_window_attributes_reply_t> looks(xcb_get_window_attributes_reply(
                x.get(), xcb_get_window_attributes(x.get(), window), nullptr));
            if (looks && looks->map_state == XCB_MAP_STATE_VIEWABLE &&
                x.text(x.ask(window, "_NET_WM_NAME")).starts_with(title))
                return true;
        }
        return false;
    }

    static int startAgain(const RunningTavik& first) {
        ChildProcess second({.arguments = {TAVIK_PROGRAM},
                             .environment = {{"HOME", first.home()}},
                             .outputPath = first.home() + "/second",
                             .input = ""});
        return second.waitFor(10s).value_or(-1);
    }

    PrivateDisplay display;
};

} // namespace

TEST_F(DesktopRunTest, ShowsTheFirstStepsUntilTheyAreDone) {
    RunningTavik tavik({}, nullptr);
    EXPECT_TRUE(shows("Welcome to Tavik"));
    EXPECT_TRUE(tavik.prints("this desktop has no tray"));
    EXPECT_EQ(tavik.process().terminate(1s), 0);
}

TEST_F(DesktopRunTest, OpensItsSettingsAtASecondStart) {
    RunningTavik tavik({}, {{"onboardingDone", true}});
    ASSERT_TRUE(tavik.prints("[tavik-mcp] listening"));
    // The orb may tell that there is no microphone.
    EXPECT_THAT(windows(), testing::Not(testing::Contains("Settings — Tavik")));
    EXPECT_EQ(startAgain(tavik), 0);
    EXPECT_TRUE(shows("Settings — Tavik"));
    EXPECT_THAT(readFile(tavik.home() + "/second"),
                HasSubstr("[single-instance] rejected duplicate launch"));
    EXPECT_EQ(tavik.process().terminate(1s), 0);
}

TEST_F(DesktopRunTest, BeginsAConversationWhenTheShortcutIsPressedAndShowsTheOrb) {
    PrivatePulseAudio sound;
    RunningTavik tavik({},
                       {{"onboardingDone", true}, {"hotkeyKeyCode", 101}, {"hotkeyModifiers", 0}},
                       {{"PULSE_SERVER", sound.server()}});
    ASSERT_TRUE(tavik.prints("[hotkey] registered F9"));
    ASSERT_TRUE(tavik.prints("Tavik ready."));
    PressedKeys().chord({f9});
    EXPECT_TRUE(tavik.prints("🔔 hotkey — listening for command…"));
    EXPECT_TRUE(shows("Tavik"));
    EXPECT_TRUE(hasState("Tavik", "_NET_WM_STATE_SKIP_TASKBAR"));
    EXPECT_TRUE(hasState("Tavik", "_NET_WM_STATE_ABOVE"));
    EXPECT_EQ(tavik.process().terminate(1s), 0);
}

TEST_F(DesktopRunTest, EndsInOrderWhenTheDisplayIsLost) {
    RunningTavik tavik({}, {{"onboardingDone", true}});
    ASSERT_TRUE(tavik.prints("[tavik-mcp] listening"));
    std::this_thread::sleep_for(300ms); // until it waits for the display
    display.server().terminate();
    EXPECT_EQ(tavik.process().waitFor(5s), 1);
    EXPECT_THAT(tavik.output(), HasSubstr("[tavik] ⚠ the display is lost, quitting"));
    EXPECT_FALSE(std::filesystem::exists(tavik.home() +
                                         "/Library/Application Support/Tavik/tavik-mcp.sock"));
}

TEST_F(DesktopRunTest, ShowsItsWindowsWithoutAWindowManager) {
    display.windowManager().terminate();
    RunningTavik tavik({}, nullptr);
    const auto x = XConnection::open();
    EXPECT_TRUE(eventually([&] { return isMapped(*x, "Welcome to Tavik"); }));
    EXPECT_EQ(tavik.process().terminate(1s), 0);
}

TEST_F(DesktopRunTest, EndsInOrderAtLogOutAndIsNotStartedAnewByTheSession) {
    SessionManager session;
    RunningTavik tavik({}, {{"onboardingDone", true}}, {{"SESSION_MANAGER", session.address()}});
    ASSERT_TRUE(session.attend([&] { return session.hasClient(); }));
    ASSERT_TRUE(session.attend([&] { return tavik.prints("[tavik-mcp] listening", 0ms); }));
    session.attend([&] { return session.restartStyle().has_value(); });
    session.logOut();
    EXPECT_TRUE(session.attend([&] { return session.hasSaved(); }));
    EXPECT_TRUE(session.attend([&] { return !tavik.process().isRunning(); }));
    EXPECT_EQ(tavik.process().waitFor(0s), 0);
    EXPECT_EQ(session.restartStyle(), 3) << "never: the autostart entry is there for that";
    EXPECT_FALSE(std::filesystem::exists(tavik.home() +
                                         "/Library/Application Support/Tavik/tavik-mcp.sock"));
}

TEST_F(DesktopRunTest, ListensWithoutWindowsWhereTheDisplayTakesNone) {
    display.server().kill();
    RunningTavik tavik({}, nullptr);
    EXPECT_TRUE(tavik.prints("[tavik] there is no display, so there are no windows"));
    EXPECT_TRUE(tavik.prints("Listening is off."));
    EXPECT_EQ(tavik.process().terminate(1s), 0);
}

} // namespace tavik
