#pragma once

#include "ui/UiServices.h"

#include <QListWidget>
#include <QStackedWidget>
#include <QWidget>

namespace tavik {

class ActivationPage;
class MemoryPage;

// The settings, one page a subject. What is changed there counts at once.
class SettingsWindow : public QWidget {
public:
    enum { samePage = -1, brainPage, voicePage, activationPage, memoryPage, integrationsPage };

    explicit SettingsWindow(UiServices& services);

    // Goes to a page and reads afresh what it shows.
    void open(int page);

protected:
    void keyPressEvent(QKeyEvent* event) override;

private:
    void add(const QString& symbol, const QString& title, QWidget* page);
    void pageOpened(int page);

    QListWidget* sidebar;
    QStackedWidget* pages;
    ActivationPage* activation;
    MemoryPage* memory;
};

} // namespace tavik
