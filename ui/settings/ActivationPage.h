#pragma once

#include "app/HotkeyManager.h"
#include "ui/UiServices.h"
#include "ui/widgets/Section.h"

namespace tavik {

class HotkeyRecorder;

// What begins a conversation: the wake phrase and the keyboard shortcut; and whether Tavik starts
// with the desktop.
class ActivationPage : public Page {
public:
    explicit ActivationPage(UiServices& services);
    ~ActivationPage() override;

    // To be called when the page is opened, and when the settings were changed by others.
    void refresh();

private:
    void addWakePhrase();
    void addShortcut();
    void addStart();
    void applyShortcut();
    void switchShortcut(bool isOn);
    void showShortcut();
    void showRefusal(const std::string& sentence);

    UiServices& services;
    HotkeyRecorder* recorder = nullptr;
    std::optional<HotkeyManager::Combo> applied; // as far as this page knows
    QLabel* refused = nullptr;
    QLabel* note = nullptr; // what the desktop makes of shortcuts
};

} // namespace tavik
