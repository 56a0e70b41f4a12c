#include "ui/TrayItem.h"

#include "app/AppState.h"
#include "app/Log.h"
#include "memory/MemoryStore.h"
#include "platform/desktop/DisplayCheck.h"
#include "ui/PhaseText.h"
#include "ui/Symbols.h"

#include <QApplication>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QFontMetrics>

namespace tavik {

namespace {

using namespace std::chrono_literals;

constexpr auto pauseTime = 30min;
constexpr auto searchPause = 5s;
constexpr auto iconPause = 60ms;
constexpr std::size_t recentConversations = 5;
constexpr int longestEntry = 420; // pixels
constexpr auto recentDays = std::chrono::hours(24 * 30);
constexpr const char* trayService = "org.kde.StatusNotifierWatcher";

// Qt remembers its first answer for ever, so it is not asked before there is a tray.
bool hasTray() {
    const auto bus = QDBusConnection::sessionBus();
    return (bus.isConnected() && bus.interface()->isServiceRegistered(trayService)) || xTrayRuns();
}

QString shortened(const std::string& text) {
    return QFontMetrics(QApplication::font())
        .elidedText(qt(text), Qt::ElideRight, longestEntry)
        .replace(u'&', "&&");
}

} // namespace

TrayItem::TrayItem(UiServices& uiServices, Actions actions)
    : services(uiServices)
    , openMemory(actions.openMemory) {
    fillMenu(actions);
    // Trays lose their way among changes that come faster than they can ask for the picture.
    iconChange.setSingleShot(true);
    iconChange.setInterval(iconPause);
    connect(&iconChange, &QTimer::timeout, this, &TrayItem::showIcon);
    search.setInterval(searchPause);
    connect(&search, &QTimer::timeout, this, &TrayItem::findTray);
    findTray();
    if (icon)
        return;
    log("[tavik] this desktop has no tray: start Tavik again to open its window");
    search.start();
}

void TrayItem::fillMenu(const Actions& actions) {
    AppState& state = services.state;
    phase = menu.addAction("");
    phase->setEnabled(false);
    notice = menu.addAction("");
    notice->setEnabled(false);
    menu.addSeparator();
    talk = menu.addAction("Talk to Tavik", &menu, [&state] { state.triggerSession(); });
    listen = menu.addAction("", &menu, [&state] {
        if (state.listening() == AppState::Listening::on)
            state.stopListening();
        else
            state.startListening();
    });
    pause = menu.addAction("Pause for 30 Minutes", &menu,
                           [&state] { state.pauseListening(pauseTime); });
    retry = menu.addAction("Retry", &menu, [&state] { state.retry(); });
    menu.addSeparator();
    conversations = menu.addMenu("Recent Conversations");
    menu.addAction("Settings…", &menu, actions.openSettings);
    menu.addAction("Quit Tavik", &menu, actions.quit);
    connect(&menu, &QMenu::aboutToShow, this, &TrayItem::refreshConversations);
}

void TrayItem::findTray() {
    if (!hasTray() || !QSystemTrayIcon::isSystemTrayAvailable())
        return;
    search.stop();
    appear();
}

void TrayItem::appear() {
    icon = std::make_unique<QSystemTrayIcon>();
    icon->setContextMenu(&menu);
    connect(icon.get(), &QSystemTrayIcon::activated, this,
            [this](QSystemTrayIcon::ActivationReason reason) {
                if (reason == QSystemTrayIcon::Trigger)
                    menu.popup(QCursor::pos());
            });
    showState();
    showIcon();
    icon->show();
    log("[tavik] in the tray");
    refreshConversations();
}

void TrayItem::showState() {
    AppState& state = services.state;
    const bool isOn =
        state.listening() == AppState::Listening::on && state.phase().kind != TavikPhase::Kind::off;
    const bool hasFailed = state.phase().kind == TavikPhase::Kind::error;
    phase->setText(shortened(phaseText(state).toStdString()));
    notice->setText(shortened(state.notice()));
    notice->setVisible(!state.notice().empty());
    listen->setText(isOn ? "Stop Listening" : "Start Listening");
    pause->setEnabled(isOn && !hasFailed);
    retry->setVisible(hasFailed);
    talk->setEnabled(isOn && !hasFailed);
    if (icon)
        iconChange.start();
}

void TrayItem::showIcon() {
    icon->setIcon(phaseIcon(services.state.phase().kind));
    icon->setToolTip("Tavik — " + phaseText(services.state));
}

void TrayItem::showNotice(const QString& sentence) {
    showState();
    if (icon && QSystemTrayIcon::supportsMessages())
        icon->showMessage("Tavik", sentence, phaseIcon(services.state.phase().kind));
}

void TrayItem::refreshConversations() {
    const auto read = [this](std::stop_token) {
        return services.memory().history("", std::chrono::system_clock::now() - recentDays,
                                         recentConversations);
    };
    background.ask(read, [this](const std::vector<ConversationHistoryEntry>& entries) {
        conversations->clear();
        for (const auto& entry : entries)
            conversations->addAction(shortened(entry.summary), conversations, openMemory);
        if (entries.empty())
            conversations->addAction("None yet")->setEnabled(false);
    });
}

} // namespace tavik
