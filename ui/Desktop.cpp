#include "ui/Desktop.h"

#include "app/AppState.h"
#include "app/Termination.h"
#include "platform/defaults/UserDefaults.h"
#include "ui/PhaseText.h"
#include "ui/onboarding/OnboardingWindow.h"
#include "ui/settings/SettingsWindow.h"

#include <utility>

namespace tavik {

namespace {

void bringToFront(QWidget& window) {
    window.show();
    window.raise();
    window.activateWindow();
}

} // namespace

Desktop::Desktop(UiServices uiServices)
    : services(std::move(uiServices))
    , floatingOrb(services.state)
    , trayItem(services, {.openSettings = [this] { showFront(); },
                          .openMemory = [this] { openSettings(SettingsWindow::memoryPage); },
                          .quit = requestQuit}) {
    services.state.observe(
        {.changed = [this] { showState(); },
         .noticed = [this](const std::string& sentence) { trayItem.showNotice(qt(sentence)); }});
}

Desktop::~Desktop() {
    services.state.observe({});
}

void Desktop::showState() {
    floatingOrb.showPhase();
    trayItem.showState();
    if (onboarding)
        onboarding->showPhase();
}

bool Desktop::isOnboardingDone() {
    return services.state.defaults().boolean("onboardingDone").value_or(false);
}

void Desktop::showFront() {
    if (isOnboardingDone())
        openSettings(SettingsWindow::samePage);
    else
        welcome();
}

void Desktop::welcome() {
    if (isOnboardingDone())
        return;
    if (!onboarding)
        onboarding = std::make_unique<OnboardingWindow>(services);
    bringToFront(*onboarding);
}

void Desktop::openSettings(int page) {
    // Anew each time, since the settings may have been changed by others. The old one goes first:
    // what it is told of the shortcut is the new one's then.
    if (!settings || !settings->isVisible()) {
        settings.reset();
        settings = std::make_unique<SettingsWindow>(services);
    }
    settings->open(page);
    bringToFront(*settings);
}

} // namespace tavik
