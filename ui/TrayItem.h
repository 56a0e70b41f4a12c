#pragma once

#include "ui/Background.h"
#include "ui/UiServices.h"

#include <QMenu>
#include <QObject>
#include <QPointer>
#include <QSystemTrayIcon>
#include <QTimer>
#include <functional>
#include <memory>

namespace tavik {

// Tavik in the desktop's tray, with its menu. A tray that starts later is found then.
class TrayItem : public QObject {
public:
    struct Actions {
        std::function<void()> openSettings;
        std::function<void()> openMemory;
        std::function<void()> quit;
    };

    TrayItem(UiServices& services, Actions actions);

    // To be called when the phase or the listening has changed.
    void showState();
    // A sentence for the user, beside the item where the desktop has a place for it.
    void showNotice(const QString& sentence);

    bool isShown() const { return icon != nullptr; }
    QMenu& contextMenu() { return menu; }

private:
    void fillMenu(const Actions& actions);
    void findTray();
    void appear();
    void showIcon();
    void refreshConversations();

    UiServices& services;
    QMenu menu;
    QMenu* conversations = nullptr;
    QAction* phase = nullptr;
    QAction* notice = nullptr;
    QAction* listen = nullptr;
    QAction* pause = nullptr;
    QAction* retry = nullptr;
    QAction* talk = nullptr;
    std::function<void()> openMemory;
    QTimer search;
    QTimer iconChange;
    std::unique_ptr<QSystemTrayIcon> icon;
    Background background;
};

} // namespace tavik
