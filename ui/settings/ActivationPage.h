#pragma once

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

    // To be called when the page is opened, since a shortcut may have been refused meanwhile.
    void refresh();

private:
    void addWakePhrase();
    void addShortcut();
    void addStart();

    UiServices& services;
    HotkeyRecorder* recorder = nullptr;
    QLabel* refused = nullptr;
};

} // namespace tavik
