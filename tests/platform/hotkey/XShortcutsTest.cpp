#include "platform/hotkey/GlobalShortcuts.h"
#include "platform/hotkey/KeyTable.h"
#include "tests/platform/hotkey/PressedKeys.h"
#include "tools/stand-ins/services/PrivateDisplay.h"

#include <atomic>
#include <thread>

using namespace std::chrono_literals;

namespace tavik {

namespace {

constexpr std::uint32_t spaceKey = 49;
constexpr std::uint32_t letterK = 40;
constexpr std::uint32_t f5Key = 96;

constexpr std::uint32_t space = 0x20;
constexpr std::uint32_t letter = 'k';
constexpr std::uint32_t f5 = 0xffc2;
constexpr std::uint32_t alt = 0xffe9;
constexpr std::uint32_t control = 0xffe3;
constexpr std::uint32_t super = 0xffeb;
constexpr std::uint32_t shift = 0xffe1;
constexpr std::uint32_t capsLock = 0xffe5;
constexpr std::uint32_t numLock = 0xff7f;

class XShortcutsTest : public testing::Test {
protected:
    static void SetUpTestSuite() {
        display = new PrivateDisplay;
        setenv("DISPLAY", display->name().c_str(), 1);
    }
    static void TearDownTestSuite() {
        unsetenv("DISPLAY");
        delete display;
    }

    auto add(std::uint32_t keyCode, std::uint32_t modifiers) {
        return shortcuts->add(keyCode, modifiers, {.pressed = [this] { ++presses; }});
    }

    // What has been counted once nothing comes any more.
    int pressesNow() {
        std::this_thread::sleep_for(60ms);
        return presses.exchange(0);
    }

    static inline PrivateDisplay* display = nullptr;
    std::unique_ptr<GlobalShortcuts> shortcuts = makeXShortcuts();
    PressedKeys keys;
    std::atomic<int> presses = 0;
};

} // namespace

TEST_F(XShortcutsTest, HearsTheWholeShortcutAndNothingElse) {
    struct Case {
        std::uint32_t keyCode;
        std::uint32_t modifiers;
        std::vector<std::uint32_t> pressed;
        int heard;
    };
    const std::vector<Case> cases = {
        {spaceKey, modifier::option, {alt, space}, 1},
        {spaceKey, modifier::option, {space}, 0},
        {spaceKey, modifier::option, {alt, shift, space}, 0},
        {spaceKey, modifier::option, {alt, letter}, 0},
        {letterK,
         modifier::control | modifier::option | modifier::command,
         {control, alt, super, letter},
         1},
        {f5Key, 0, {f5}, 1},
        {f5Key, modifier::shift, {shift, f5}, 1},
    };
    for (const Case& each : cases) {
        const auto registration = add(each.keyCode, each.modifiers);
        keys.chord(each.pressed);
        EXPECT_EQ(pressesNow(), each.heard) << each.keyCode << " " << each.modifiers;
    }
    keys.chord({alt, space});
    EXPECT_EQ(pressesNow(), 0) << "the shortcut is gone with its registration";
}

TEST_F(XShortcutsTest, HearsItWhateverIsLocked) {
    const auto registration = add(spaceKey, modifier::option);
    for (const std::uint32_t lock : {capsLock, numLock, capsLock, numLock}) {
        keys.chord({lock});
        keys.chord({alt, space});
        EXPECT_EQ(pressesNow(), 1);
    }
}

TEST_F(XShortcutsTest, RefusesWhatAnotherProgramHasAndWhatNoKeyboardHas) {
    const auto taken = add(letterK, modifier::command);
    const auto status = [this](std::uint32_t keyCode, std::uint32_t modifiers) {
        try {
            add(keyCode, modifiers);
        } catch (const ShortcutError& error) {
            return error.status;
        }
        return 0;
    };
    EXPECT_EQ(status(letterK, modifier::command), 10); // BadAccess
    EXPECT_EQ(status(letterK, modifier::control), 0);
    EXPECT_NE(status(200, 0), 0);
    keys.chord({super, letter});
    EXPECT_EQ(pressesNow(), 1) << "the one who has it keeps it";
}

TEST_F(XShortcutsTest, NamesWhatAKeyTypes) {
    EXPECT_EQ(shortcuts->characterOf(letterK), "k");
    EXPECT_EQ(shortcuts->characterOf(27), "-");
    EXPECT_EQ(shortcuts->characterOf(f5Key), "");
    EXPECT_EQ(shortcuts->characterOf(200), "");
}

TEST(XShortcuts, AreMissingWithoutADisplay) {
    unsetenv("DISPLAY");
    EXPECT_EQ(makeXShortcuts(), nullptr);
}

} // namespace tavik
