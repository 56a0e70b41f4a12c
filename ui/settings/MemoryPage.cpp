#include "ui/settings/MemoryPage.h"

#include "app/AppState.h"
#include "memory/MemoryStore.h"
#include "ui/PhaseText.h"

#include <QHBoxLayout>
#include <QItemSelectionModel>
#include <QMessageBox>

namespace tavik {

namespace {

using namespace std::chrono_literals;

constexpr auto restOfTyping = 200ms;
constexpr std::size_t mostShown = 20'000;
constexpr int listHeight = 200;
constexpr int turnsHeight = 120;
constexpr const char* question =
    "Delete everything Tavik remembers of your conversations, and its logs? This cannot be undone.";

QString textOf(const std::vector<ConversationTurn>& turns) {
    QStringList lines;
    for (const ConversationTurn& turn : turns)
        lines.append((turn.role == "user" ? "You: " : "Tavik: ") + qt(turn.text));
    return lines.join("\n\n");
}

} // namespace

MemoryPage::MemoryPage(UiServices& uiServices)
    : Page("Memory")
    , services(uiServices) {
    build();
    typing.setSingleShot(true);
    typing.setInterval(restOfTyping);
    connect(&typing, &QTimer::timeout, this, &MemoryPage::refresh);
    connect(search, &QLineEdit::textChanged, &typing, qOverload<>(&QTimer::start));
    connect(list->selectionModel(), &QItemSelectionModel::currentRowChanged, this,
            &MemoryPage::showTurns);
    connect(clear, &QPushButton::clicked, this, &MemoryPage::clearAll);
}

void MemoryPage::build() {
    Section* remember = addSection();
    QCheckBox* box = makeSwitch("Remember conversations", services.state.defaults(),
                                "rememberConversations", true);
    connect(box, &QCheckBox::toggled, this, &MemoryPage::preferenceChanged);
    remember->add(box);
    remember->addHelp("What you say and what Tavik answers stays on this computer, with a sentence "
                      "about each conversation. The last one is recalled in the next.");
    Section* history = addSection("History");
    search = new QLineEdit;
    search->setPlaceholderText("Search conversations");
    search->setAccessibleName("Search conversations");
    search->setClearButtonEnabled(true);
    list = new QListView;
    list->setModel(&conversations);
    list->setObjectName("list");
    list->setAccessibleName("Conversations");
    list->setMinimumHeight(listHeight);
    list->setUniformItemSizes(true);
    list->setTextElideMode(Qt::ElideRight);
    list->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    turns = new QPlainTextEdit;
    turns->setReadOnly(true);
    turns->setTabChangesFocus(true);
    turns->setAccessibleName("What was said");
    turns->setMinimumHeight(turnsHeight);
    turns->hide();
    clear = new QPushButton("Clear All History…");
    history->add(search);
    history->add(list);
    state = history->addHelp("");
    history->add(turns);
    auto* row = new QHBoxLayout;
    row->addWidget(clear);
    row->addStretch(1);
    history->add(row);
    finish();
}

void MemoryPage::refresh() {
    const auto find = [this, wanted = search->text().trimmed().toStdString()](std::stop_token) {
        return services.memory().history(wanted, WallTime(), mostShown);
    };
    background.ask(find,
                   [this](const std::vector<ConversationHistoryEntry>& found) { fill(found); });
}

void MemoryPage::fill(const std::vector<ConversationHistoryEntry>& found) {
    const QString none =
        search->text().trimmed().isEmpty() ? "No conversations yet." : "No conversation matches.";
    showOutcome(*state,
                found.empty()               ? none
                : found.size() == mostShown ? QString("The newest %L1.").arg(mostShown)
                                            : "",
                Outcome::neutral);
    if (found == conversations.shown())
        return;
    conversations.show(found);
    turns->hide();
}

void MemoryPage::showTurns() {
    const int row = list->currentIndex().row();
    if (row < 0 || row >= conversations.rowCount())
        return;
    const auto read = [this, id = conversations.shown()[static_cast<std::size_t>(row)].id](
                          std::stop_token) { return services.memory().turns(id); };
    turnReading.ask(read, [this](const std::vector<ConversationTurn>& said) {
        turns->setPlainText(textOf(said));
        turns->show();
    });
}

void MemoryPage::clearAll() {
    QMessageBox box(QMessageBox::Warning, "Tavik", question, QMessageBox::Cancel, this);
    QPushButton* confirm = box.addButton("Clear All History", QMessageBox::DestructiveRole);
    box.setDefaultButton(QMessageBox::Cancel);
    box.exec();
    if (box.clickedButton() != confirm)
        return;
    const auto empty = [this](std::stop_token) -> QString {
        try {
            services.memory().clearAll();
            return "";
        } catch (const std::exception&) {
            return "Not everything could be deleted. The log tells what was left.";
        }
    };
    changes.ask(empty, [this](const QString& problem) {
        conversations.show({});
        turns->hide();
        refresh();
        if (!problem.isEmpty())
            QMessageBox::warning(this, "Tavik", problem);
    });
}

void MemoryPage::preferenceChanged() {
    changes.ask(
        [this](std::stop_token) {
            services.memory().recordingPreferenceChanged();
            return true;
        },
        [this](bool) { refresh(); });
}

} // namespace tavik
