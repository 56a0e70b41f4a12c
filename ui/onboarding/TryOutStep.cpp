#include "ui/onboarding/TryOutStep.h"

#include "app/AppState.h"
#include "ui/PhaseText.h"
#include "ui/Symbols.h"
#include "ui/widgets/LevelMeter.h"
#include "ui/widgets/Section.h"

#include <QVBoxLayout>

namespace tavik {

namespace {

constexpr QSize orbSize(96, 96);

} // namespace

TryOutStep::TryOutStep(UiServices& uiServices)
    : services(uiServices)
    , orb(new QLabel)
    , words(new QLabel)
    , outcome(helpLabel({}))
    , retry(new QPushButton("Retry")) {
    auto* section = new Section;
    orb->setAlignment(Qt::AlignCenter);
    words->setObjectName("heading");
    words->setAlignment(Qt::AlignCenter);
    words->setWordWrap(true);
    outcome->setAlignment(Qt::AlignCenter);
    section->add(orb);
    section->add(words);
    section->add(new LevelMeter([this] { return services.state.level(); }));
    section->add(outcome);
    section->add(retry);
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->addWidget(section);
    column->addStretch(1);
    connect(retry, &QPushButton::clicked, this, [this] { services.state.retry(); });
}

void TryOutStep::showEvent(QShowEvent*) {
    services.state.startListening();
    showPhase();
}

void TryOutStep::showPhase() {
    const auto phase = services.state.phase().kind;
    wasHeard = wasHeard || phase == TavikPhase::Kind::listening;
    orb->setPixmap(phaseIcon(phase).pixmap(orbSize, devicePixelRatioF()));
    words->setText(phase == TavikPhase::Kind::idle ? "Say “Hey Vessa”" : phaseText(services.state));
    retry->setVisible(phase == TavikPhase::Kind::error);
    showOutcome(*outcome,
                wasHeard ? "Tavik heard you. Go on and ask it something, such as “What time is it?”"
                         : "Speak as you would to somebody across the table.",
                wasHeard ? Outcome::good : Outcome::neutral);
}

} // namespace tavik
