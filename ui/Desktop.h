#pragma once

#include "ui/Orb.h"
#include "ui/TrayItem.h"
#include "ui/UiServices.h"

#include <memory>

namespace tavik {

class OnboardingWindow;
class SettingsWindow;

// What Tavik shows: the tray item, the orb, and its windows, which are made when they are first
// needed.
class Desktop : public QObject {
public:
    explicit Desktop(UiServices services);
    ~Desktop() override;

    // Brings Tavik to the front: the first steps as long as they are not done, else the settings.
    void showFront();
    // The first steps, when they are not done.
    void welcome();

    TrayItem& tray() { return trayItem; }
    Orb& orb() { return floatingOrb; }

private:
    void openSettings(int page);
    void showState();
    bool isOnboardingDone();

    UiServices services;
    Orb floatingOrb;
    TrayItem trayItem;
    std::unique_ptr<SettingsWindow> settings;
    std::unique_ptr<OnboardingWindow> onboarding;
};

} // namespace tavik
