#include "ui/settings/SettingsWindow.h"

#include "app/AppState.h"
#include "platform/defaults/UserDefaults.h"
#include "ui/Symbols.h"
#include "ui/settings/ActivationPage.h"
#include "ui/settings/BrainPage.h"
#include "ui/settings/IntegrationsPage.h"
#include "ui/settings/MemoryPage.h"
#include "ui/settings/VoicePage.h"

#include <QHBoxLayout>
#include <QKeyEvent>
#include <chrono>
#include <utility>

namespace tavik {

namespace {

constexpr int sidebarWidth = 190;
constexpr int itemHeight = 40;
constexpr std::chrono::milliseconds followingPause{500};
constexpr QSize usualSize(820, 640);
constexpr QSize symbolSize(20, 20);

} // namespace

SettingsWindow::SettingsWindow(UiServices& services)
    : sidebar(new QListWidget)
    , pages(new QStackedWidget)
    , activation(new ActivationPage(services))
    , memory(new MemoryPage(services))
    , defaults(services.state.defaults()) {
    setWindowTitle("Settings");
    sidebar->setObjectName("sidebar");
    sidebar->setAccessibleName("Settings pages");
    sidebar->setFixedWidth(sidebarWidth);
    sidebar->setIconSize(symbolSize);
    sidebar->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    add("sparkles", "Brain", new BrainPage(services));
    add("waveform", "Voice and Audio", new VoicePage(services));
    add("bolt", "Activation", activation);
    add("clock", "Memory", memory);
    add("plug", "Integrations", new IntegrationsPage(services));
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(8, 16, 0, 0);
    row->setSpacing(0);
    row->addWidget(sidebar);
    row->addWidget(pages, 1);
    connect(sidebar, &QListWidget::currentRowChanged, this, &SettingsWindow::pageOpened);
    sidebar->setCurrentRow(brainPage);
    resize(usualSize);
    following.setInterval(followingPause);
    connect(&following, &QTimer::timeout, this, &SettingsWindow::followSettings);
}

void SettingsWindow::add(const QString& symbol, const QString& title, Page* page) {
    auto* item = new QListWidgetItem(symbolIcon(symbol), title);
    item->setSizeHint({sidebarWidth - 16, itemHeight});
    sidebar->addItem(item);
    pages->addWidget(page);
}

void SettingsWindow::open(int page) {
    if (page != samePage)
        sidebar->setCurrentRow(page);
    pageOpened(sidebar->currentRow());
}

void SettingsWindow::pageOpened(int page) {
    pages->setCurrentIndex(page);
    if (page == activationPage)
        activation->refresh();
    if (page == memoryPage)
        memory->refresh();
}

void SettingsWindow::showEvent(QShowEvent*) {
    following.start();
}

void SettingsWindow::hideEvent(QHideEvent*) {
    following.stop();
}

void SettingsWindow::followSettings() {
    const std::uint64_t revision = defaults.revision();
    if (std::exchange(shownRevision, revision) == revision)
        return;
    for (int index = 0; index < pages->count(); ++index)
        static_cast<Page*>(pages->widget(index))->showSettings();
}

void SettingsWindow::keyPressEvent(QKeyEvent* event) {
    if (event->matches(QKeySequence::Close) || event->key() == Qt::Key_Escape)
        close();
    else
        QWidget::keyPressEvent(event);
}

} // namespace tavik
