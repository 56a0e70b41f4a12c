#include "tests/support/Eventually.h"
#include "tests/system/RunningTavik.h"
#include "tests/system/ScriptedTray.h"
#include "tools/stand-ins/services/PrivateBus.h"
#include "tools/stand-ins/services/PrivateDisplay.h"
#include "tools/stand-ins/services/PrivatePulseAudio.h"

using namespace std::chrono_literals;
using testing::SizeIs;

namespace tavik {

namespace {

// The real program on a desktop with a tray.
class TrayTest : public testing::Test {
protected:
    RunningTavik::Environment environment() const {
        return {{"DISPLAY", display.name()},
                {"DBUS_SESSION_BUS_ADDRESS", bus.address()},
                {"PULSE_SERVER", sound.server()}};
    }

    PrivateDisplay display;
    PrivateBus bus;
    PrivatePulseAudio sound;
};

} // namespace

TEST_F(TrayTest, ShowsWhatItDoesAndTakesOrdersFromItsMenu) {
    ScriptedTray tray(bus.address());
    RunningTavik tavik({}, {{"onboardingDone", true}}, environment());
    ASSERT_TRUE(tavik.prints("[tavik] in the tray"));
    ASSERT_TRUE(tavik.prints("Tavik ready."));
    ASSERT_TRUE(eventually([&] { return tray.toolTip() == "Tavik — Waiting for “Hey Vessa”"; }));
    const std::size_t whileListening = tray.icon();
    const auto stop = tray.menuEntry("Stop Listening");
    ASSERT_TRUE(stop);
    EXPECT_TRUE(tray.menuEntry("Talk to Tavik"));
    EXPECT_FALSE(tray.menuEntry("Retry"));
    tray.choose(*stop);
    ASSERT_TRUE(eventually([&] { return tray.toolTip() == "Tavik — Listening is off"; }));
    EXPECT_NE(tray.icon(), whileListening);
    EXPECT_FALSE(tray.menuEntry("Talk to Tavik")) << "nothing listens";
    const auto start = tray.menuEntry("Start Listening");
    ASSERT_TRUE(start);
    tray.choose(*start);
    EXPECT_TRUE(eventually([&] { return tray.icon() == whileListening; }));
    const auto quit = tray.menuEntry("Quit Tavik");
    ASSERT_TRUE(quit);
    tray.choose(*quit);
    EXPECT_EQ(tavik.process().waitFor(5s), 0);
}

TEST_F(TrayTest, ComesBackWithATrayThatIsRestartedAndToOneThatStartsLater) {
    RunningTavik tavik({}, {{"onboardingDone", true}}, environment());
    ASSERT_TRUE(tavik.prints("this desktop has no tray"));
    auto tray = std::make_unique<ScriptedTray>(bus.address());
    EXPECT_TRUE(eventually([&] { return tray->items().size() == 1; }));
    tray.reset();
    tray = std::make_unique<ScriptedTray>(bus.address());
    EXPECT_TRUE(eventually([&] { return tray->items().size() == 1; }));
    EXPECT_TRUE(tray->menuEntry("Settings…"));
    EXPECT_EQ(tavik.process().terminate(2s), 0);
}

} // namespace tavik
