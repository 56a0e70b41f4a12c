#include "app/Permissions.h"

#include "app/Autostart.h"
#include "app/Paths.h"
#include "tools/stand-ins/services/TemporaryFolder.h"

#include <filesystem>

using testing::ElementsAre;
using testing::HasSubstr;

namespace tavik {

namespace {

using State = PermissionState;

// A desktop that grants nothing, and notes what is opened.
struct Desktop {
    State store = State::notDetermined;
    bool grants = false;
    std::vector<std::string> opened;

    Permissions permissions() {
        const auto granted = [this](const auto&...) { return grants; };
        return Permissions(
            {.microphoneStore = [this](const auto&...) { return store; },
             .hasInput = granted,
             .hasSpeechModels = granted,
             .isAccessibilityOn = granted,
             .isScreenOpen = granted,
             .isAutomationPossible = granted,
             .switchAccessibilityOn = [this](const auto&...) { opened.push_back("switch"); },
             .openPane =
                 [this](std::string_view pane) {
                     opened.emplace_back(pane);
                     return true;
                 },
             .startAnew = [] { return false; }});
    }
};

} // namespace

TEST(Permissions, AreDeniedOnlyWhereTheDesktopSaysSo) {
    Desktop desktop;
    const Permissions permissions = desktop.permissions();
    for (const bool grants : {false, true})
        for (const Permission permission : allPermissions) {
            desktop.grants = grants;
            EXPECT_EQ(permissions.state(permission, {}),
                      grants ? State::granted : State::notDetermined)
                << textOf(permission).id;
        }
    desktop.store = State::denied;
    EXPECT_EQ(permissions.state(Permission::microphone, {}), State::denied);
    desktop.store = State::granted;
    desktop.grants = false;
    EXPECT_EQ(permissions.state(Permission::microphone, {}), State::notDetermined)
        << "a right without a microphone";
}

TEST(Permissions, AreAskedForWhereTheDesktopHasThem) {
    Desktop desktop;
    const Permissions permissions = desktop.permissions();
    for (const Permission permission : {Permission::accessibility, Permission::microphone})
        permissions.request(permission, {});
    desktop.grants = true;
    permissions.request(Permission::microphone, {});
    EXPECT_THAT(desktop.opened, ElementsAre("switch", "microphone"));
}

TEST(Autostart, IsAnEntryOfTheDesktopThatComesAndGoes) {
    EXPECT_FALSE(Autostart::isOn());
    Autostart::switchTo(true);
    EXPECT_TRUE(Autostart::isOn());
    EXPECT_THAT(readFile(pathInHome(".config/autostart/ai.tavik.desktop")),
                HasSubstr("Exec=\"" + executablePath() + "\"\n"));
    Autostart::switchTo(false);
    EXPECT_FALSE(Autostart::isOn());
    Autostart::switchTo(false);
}

} // namespace tavik
