#include "ui/settings/IntegrationsPage.h"

#include "app/AppState.h"
#include "mcp/ClientConfiguration.h"
#include "ui/PhaseText.h"
#include "ui/Symbols.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QPlainTextEdit>

namespace tavik {

namespace {

using namespace std::chrono_literals;

constexpr auto copiedTime = 2000ms;
constexpr const char* explanation =
    "Let Cursor and Claude Code control your Mac through Tavik — snapshot the screen, click, type, "
    "run web searches, and speak — with Tavik's safety confirmations and audit trail applied to "
    "everything.";
constexpr const char* whenOn =
    "Cursor and Claude Code can reach Tavik right now, if they have the configuration below.";
constexpr const char* whenOff =
    "Off by default. While off, Tavik reports zero tools to any connected agent — nothing to call, "
    "nothing that can fail or loop. Nothing speaks or acts on your behalf until you turn this on.";
constexpr const char* help =
    "Cursor: add it to ~/.cursor/mcp.json. Claude Code: add it to ~/.claude.json (or run “claude "
    "mcp add”). Tavik must be running; it launches automatically if it isn't. Keep Tavik's "
    "permissions granted — the coding agent acts through them.";

QPlainTextEdit* codeBlock(const std::string& text) {
    auto* block = new QPlainTextEdit(qt(text));
    block->setObjectName("code");
    block->setReadOnly(true);
    block->setTabChangesFocus(true);
    block->setLineWrapMode(QPlainTextEdit::NoWrap);
    block->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    block->setFocusPolicy(Qt::StrongFocus);
    block->setAccessibleName("MCP server configuration");
    const int lines = block->blockCount() + 3;
    block->setFixedHeight(block->fontMetrics().lineSpacing() * lines);
    return block;
}

} // namespace

IntegrationsPage::IntegrationsPage(UiServices& services)
    : Page("Integrations") {
    Section* section = addSection();
    section->addHelp(explanation);
    QCheckBox* allowed =
        makeSwitch("Allow external agents (MCP)", services.state.defaults(), "mcpEnabled", false);
    section->add(allowed);
    meaning = section->addHelp("");
    auto* heading = new QLabel("MCP server configuration");
    heading->setObjectName("heading");
    section->add(heading);
    section->add(codeBlock(mcpConfigJSON()));
    copyButton = new QPushButton;
    auto* row = new QHBoxLayout;
    row->addWidget(copyButton);
    row->addStretch(1);
    section->add(row);
    section->addHelp(help);
    finish();
    showWhetherAllowed(allowed->isChecked());
    showCopy(false);
    copied.setSingleShot(true);
    connect(&copied, &QTimer::timeout, this, [this] { showCopy(false); });
    connect(allowed, &QCheckBox::toggled, this, &IntegrationsPage::showWhetherAllowed);
    connect(copyButton, &QPushButton::clicked, this, &IntegrationsPage::copy);
}

void IntegrationsPage::showWhetherAllowed(bool isAllowed) {
    meaning->setText(isAllowed ? whenOn : whenOff);
}

void IntegrationsPage::copy() {
    QGuiApplication::clipboard()->setText(qt(mcpConfigJSON()));
    showCopy(true);
    copied.start(copiedTime);
}

void IntegrationsPage::showCopy(bool isDone) {
    copyButton->setText(isDone ? "Copied" : "Copy configuration");
    copyButton->setIcon(symbolIcon(isDone ? "checkmark" : "doc.on.doc"));
}

} // namespace tavik
