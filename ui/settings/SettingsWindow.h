#pragma once

#include "ui/UiServices.h"

#include <QListWidget>
#include <QStackedWidget>
#include <QTimer>
#include <QWidget>

namespace tavik {

class ActivationPage;
class MemoryPage;
class Page;
class UserDefaults;

// The settings, one page a subject. What is changed there counts at once.
class SettingsWindow : public QWidget {
public:
    enum { samePage = -1, brainPage, voicePage, activationPage, memoryPage, integrationsPage };

    explicit SettingsWindow(UiServices& services);

    // Goes to a page and reads afresh what it shows.
    void open(int page);

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    void followSettings();
    void add(const QString& symbol, const QString& title, Page* page);
    void pageOpened(int page);

    QListWidget* sidebar;
    QStackedWidget* pages;
    ActivationPage* activation;
    MemoryPage* memory;
    UserDefaults& defaults;
    std::uint64_t shownRevision = 0;
    QTimer following; // of changes that others make, by hand for example
};

} // namespace tavik
