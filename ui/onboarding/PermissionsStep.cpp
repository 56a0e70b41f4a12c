#include "ui/onboarding/PermissionsStep.h"

#include "app/AppState.h"
#include "app/Termination.h"
#include "ui/Symbols.h"
#include "ui/widgets/Section.h"

#include <QHBoxLayout>
#include <QVBoxLayout>

namespace tavik {

namespace {

using namespace std::chrono_literals;

constexpr auto refreshPause = 2s;
constexpr QSize symbolSize(26, 26);

QString text(std::string_view view) {
    return QString::fromUtf8(view.data(), static_cast<qsizetype>(view.size()));
}

} // namespace

PermissionsStep::PermissionsStep(UiServices& uiServices)
    : services(uiServices)
    , relaunching(new QPushButton("Relaunch Tavik"))
    , problem(helpLabel({})) {
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    auto* section = new Section;
    for (const Permission permission : allPermissions)
        section->add(makeRow(permission));
    column->addWidget(section);
    column->addWidget(relaunching, 0, Qt::AlignLeft);
    column->addWidget(problem);
    column->addStretch(1);
    relaunching->hide();
    connect(relaunching, &QPushButton::clicked, this, &PermissionsStep::relaunch);
    refreshing.setInterval(refreshPause);
    connect(&refreshing, &QTimer::timeout, this, &PermissionsStep::refresh);
}

QWidget* PermissionsStep::makeRow(Permission permission) {
    const PermissionText& texts = textOf(permission);
    Row& row = rows[static_cast<std::size_t>(permission)];
    auto* widget = new QWidget;
    auto* line = new QHBoxLayout(widget);
    line->setContentsMargins(0, 0, 0, 0);
    auto* symbol = new QLabel;
    symbol->setPixmap(symbolIcon(text(texts.symbol)).pixmap(symbolSize, devicePixelRatioF()));
    auto* words = new QVBoxLayout;
    auto* title = new QLabel(text(texts.title));
    title->setObjectName("heading");
    words->addWidget(title);
    words->addWidget(helpLabel(text(texts.why)));
    row.state = helpLabel("…");
    row.state->setWordWrap(false);
    row.button = new QPushButton("Allow…");
    row.button->setAccessibleName("Allow " + text(texts.title));
    connect(row.button, &QPushButton::clicked, this, [this, permission] { request(permission); });
    line->addWidget(symbol);
    line->addLayout(words, 1);
    line->addWidget(row.state);
    line->addWidget(row.button);
    return widget;
}

void PermissionsStep::showEvent(QShowEvent*) {
    refresh();
    refreshing.start();
}

void PermissionsStep::hideEvent(QHideEvent*) {
    refreshing.stop();
}

void PermissionsStep::refresh() {
    const auto look = [this](const std::stop_token& stop) {
        States states;
        for (std::size_t index = 0; index < states.size(); ++index)
            states[index] = services.permissions.state(allPermissions[index], stop);
        return states;
    };
    background.ask(look, [this](const States& states) { show(states); });
}

void PermissionsStep::show(const States& states) {
    for (std::size_t index = 0; index < states.size(); ++index) {
        const bool isGranted = states[index] == PermissionState::granted;
        const bool isDenied = states[index] == PermissionState::denied;
        showOutcome(*rows[index].state,
                    isGranted  ? "Granted"
                    : isDenied ? "Denied"
                               : "Not yet",
                    isGranted  ? Outcome::good
                    : isDenied ? Outcome::bad
                               : Outcome::neutral);
        rows[index].button->setVisible(!isGranted);
        if (isGranted && shown && (*shown)[index] != PermissionState::granted)
            relaunching->show();
    }
    shown = states;
}

void PermissionsStep::request(Permission permission) {
    requests.ask(
        [this, permission](std::stop_token stop) {
            services.permissions.request(permission, std::move(stop));
            return true;
        },
        [this](bool) { refresh(); });
}

void PermissionsStep::relaunch() {
    if (services.permissions.relaunch())
        return requestQuit();
    const std::string sentence =
        "Tavik couldn't relaunch. Quit and reopen it to apply the new permissions.";
    services.state.notify(sentence);
    showOutcome(*problem, QString::fromStdString(sentence), Outcome::bad);
}

} // namespace tavik
