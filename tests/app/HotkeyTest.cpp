#include "app/Hotkey.h"

#include "app/HotkeyManager.h"
#include "app/Log.h"
#include "app/Paths.h"
#include "platform/concurrency/MainQueue.h"
#include "platform/defaults/UserDefaults.h"
#include "platform/hotkey/KeyTable.h"
#include "tests/app/FakeShortcuts.h"
#include "tools/stand-ins/services/TemporaryFolder.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace tavik {

namespace {

class HotkeyManagerTest : public testing::Test {
protected:
    std::vector<HotkeyManager::Combo> registered() const {
        std::vector<HotkeyManager::Combo> combos;
        for (const auto& [combo, events] : desktop.registered)
            combos.push_back({combo.first, combo.second});
        return combos;
    }
    void apply(const Json& keyCode, const Json& modifiers) {
        defaults.set("hotkeyKeyCode", keyCode);
        defaults.set("hotkeyModifiers", modifiers);
        manager.applyFromDefaults();
    }
    static bool logged(const std::string& line) {
        TavikLog::flush();
        return readFile(logPath()).find(line) != std::string::npos;
    }

    TemporaryFolder folder;
    UserDefaults defaults{folder.file("settings.json")};
    FakeShortcuts::Desktop desktop;
    int triggers = 0;
    std::vector<std::string> errors;
    HotkeyManager manager{std::make_unique<FakeShortcuts>(desktop),
                          defaults,
                          {.onTrigger = [this] { ++triggers; },
                           .onError = [this](const std::string& text) { errors.push_back(text); }}};
};

using Combo = HotkeyManager::Combo;

} // namespace

TEST(Hotkey, DescribesShortcutsForPeople) {
    const auto layout = [](std::uint32_t keyCode) {
        return std::string(keyCode == 40 ? "k" : keyCode == 41 ? "ö" : "");
    };
    const std::uint32_t all =
        Hotkey::carbonModifiers({.control = true, .option = true, .shift = true, .command = true});
    EXPECT_EQ(all, 4096U + 2048U + 512U + 256U);
    const std::map<std::string, std::pair<std::uint32_t, std::uint32_t>> cases = {
        {"⌥Space", {49, 2048}}, {"⌃⌥⌘K", {40, 4096 + 2048 + 256}},
        {"⌃⌥⇧⌘Ö", {41, all}},   {"F5", {96, 0}},
        {"⇧↩", {36, 512 + 1}},  {"⌘Key 200", {200, 256}}};
    for (const auto& [text, combo] : cases)
        EXPECT_EQ(Hotkey::describe(combo.first, combo.second, layout), text);
    EXPECT_TRUE(Hotkey::isFunctionKey(111));
    EXPECT_FALSE(Hotkey::isFunctionKey(105)); // F13
}

TEST_F(HotkeyManagerTest, TakesTheUsualShortcutAndAnswersItsPress) {
    manager.applyFromDefaults();
    manager.applyFromDefaults();
    EXPECT_THAT(registered(), ElementsAre(Combo{49, 2048}));
    EXPECT_EQ(desktop.additions, 1);
    EXPECT_TRUE(logged("[hotkey] registered ⌥Space"));
    desktop.registered.begin()->second.pressed();
    EXPECT_EQ(triggers, 0) << "on the main thread only";
    MainQueue::shared().drain();
    EXPECT_EQ(triggers, 1);
}

TEST_F(HotkeyManagerTest, KeepsThePreviousShortcutWhenTheNewOneIsTaken) {
    desktop.taken = {{40, 256}};
    apply(40, 256);
    EXPECT_THAT(errors, ElementsAre("That shortcut is in use or unavailable. Choose another in "
                                    "Settings."));
    apply(96, 0);
    apply(40, 256);
    EXPECT_THAT(registered(), ElementsAre(Combo{96, 0}));
    EXPECT_EQ(manager.wantedCombo(), (Combo{96, 0}));
    EXPECT_EQ(errors.back(), "That shortcut is in use or unavailable. Choose another in Settings. "
                             "Your previous shortcut still works.");
    EXPECT_TRUE(logged("[hotkey] register failed: OSStatus 10"));
}

TEST_F(HotkeyManagerTest, WaitsForADesktopThatAsksItsUser) {
    desktop.asksTheUser = true;
    const auto tell = [this](Combo combo, auto news) {
        const auto events = desktop.registered.at({combo.keyCode, combo.modifiers});
        news(events);
        MainQueue::shared().drain();
    };
    const auto grants = [](const ShortcutEvents& events) { events.granted("Meta+K"); };
    const auto refuses = [](const ShortcutEvents& events) {
        events.lost({ShortcutError::userRefused, "no"});
    };
    apply(40, 256);
    EXPECT_TRUE(manager.awaitsTheUser());
    EXPECT_EQ(manager.activeCombo(), std::nullopt);
    tell({40, 256}, grants);
    EXPECT_EQ(manager.activeCombo(), (Combo{40, 256}));
    EXPECT_EQ(manager.keysOfDesktop(), "Meta+K");

    apply(96, 0);
    EXPECT_THAT(registered(), testing::SizeIs(2)) << "the old one works until the new one is had";
    tell({96, 0}, refuses);
    EXPECT_EQ(manager.wantedCombo(), (Combo{40, 256}));
    EXPECT_THAT(errors.back(), HasSubstr(" Your previous shortcut still works."));

    apply(96, 0);
    apply(40, 256); // the user thinks better of it before the answer
    EXPECT_THAT(registered(), ElementsAre(Combo{40, 256}));
    EXPECT_FALSE(manager.awaitsTheUser());

    tell({40, 256}, refuses);
    EXPECT_THAT(registered(), IsEmpty());
    EXPECT_EQ(defaults.boolean("hotkeyEnabled"), false) << "nobody is asked again at each start";
    EXPECT_EQ(errors.back(), "That shortcut is in use or unavailable. Choose another in Settings.");
}

TEST_F(HotkeyManagerTest, GoesOnWithoutADesktopThatHasNoShortcuts) {
    desktop.asksTheUser = true;
    manager.applyFromDefaults();
    desktop.registered.begin()->second.lost({ShortcutError::noService, "none"});
    MainQueue::shared().drain();
    EXPECT_FALSE(manager.isAvailable());
    EXPECT_THAT(registered(), IsEmpty());
    EXPECT_THAT(errors, IsEmpty());
    EXPECT_TRUE(logged("[hotkey] this desktop has no shortcuts for programs"));
}

TEST_F(HotkeyManagerTest, GoesAndComesBackWithTheSwitch) {
    apply(96, 512);
    defaults.set("hotkeyEnabled", false);
    manager.applyFromDefaults();
    EXPECT_THAT(registered(), IsEmpty());
    defaults.set("hotkeyEnabled", true);
    manager.applyFromDefaults();
    EXPECT_THAT(registered(), ElementsAre(Combo{96, 512}));
}

TEST_F(HotkeyManagerTest, ReadsOnlyWholeNumbersThatFit) {
    apply("F5", 2048.5);
    EXPECT_THAT(registered(), ElementsAre(Combo{49, 2048}));
    for (const Json& odd : {Json(-1), Json(4294967296.0)}) {
        apply(odd, 0);
        EXPECT_THAT(registered(), ElementsAre(Combo{49, 2048})) << odd;
    }
}

} // namespace tavik
