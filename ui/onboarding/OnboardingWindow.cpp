#include "ui/onboarding/OnboardingWindow.h"

#include "app/AppState.h"
#include "platform/defaults/UserDefaults.h"
#include "ui/Symbols.h"
#include "ui/onboarding/PermissionsStep.h"
#include "ui/onboarding/TryOutStep.h"
#include "ui/widgets/BrainForm.h"
#include "ui/widgets/KeyForm.h"
#include "ui/widgets/MicrophonePicker.h"
#include "ui/widgets/Section.h"
#include "ui/widgets/VoicePicker.h"

#include <QCloseEvent>
#include <QHBoxLayout>
#include <QScrollArea>
#include <QVBoxLayout>

namespace tavik {

namespace {

constexpr QSize usualSize(640, 660);
constexpr QSize orbSize(132, 132);
constexpr int margin = 32;

QWidget* inSection(QWidget* content) {
    auto* section = new Section;
    section->add(content);
    return section;
}

QWidget* filling(QWidget* content) {
    auto* widget = new QWidget;
    auto* column = new QVBoxLayout(widget);
    column->setContentsMargins(0, 0, 0, 0);
    column->addWidget(content);
    return widget;
}

QWidget* atTheTop(QWidget* content) {
    QWidget* widget = filling(content);
    static_cast<QVBoxLayout*>(widget->layout())->addStretch(1);
    return widget;
}

QWidget* picture(TavikPhase::Kind phase) {
    auto* label = new QLabel;
    label->setAlignment(Qt::AlignCenter);
    label->setPixmap(phaseIcon(phase).pixmap(orbSize, label->devicePixelRatioF()));
    return label;
}

QScrollArea* scrolling(QWidget* content) {
    auto* area = new QScrollArea;
    content->setObjectName("page");
    area->setWidget(content);
    area->setWidgetResizable(true);
    area->setFrameShape(QFrame::NoFrame);
    area->setFocusPolicy(Qt::NoFocus);
    return area;
}

} // namespace

OnboardingWindow::OnboardingWindow(UiServices& uiServices)
    : services(uiServices)
    , progress(helpLabel({}))
    , title(new QLabel)
    , text(helpLabel({}))
    , contents(new QStackedWidget)
    , back(new QPushButton("Back"))
    , next(new QPushButton) {
    setWindowTitle("Welcome to Tavik");
    title->setObjectName("title");
    next->setObjectName("primary");
    next->setDefault(true);
    auto* buttons = new QHBoxLayout;
    buttons->addWidget(back);
    buttons->addStretch(1);
    buttons->addWidget(progress);
    buttons->addStretch(1);
    buttons->addWidget(next);
    progress->setWordWrap(false);
    auto policy = back->sizePolicy();
    policy.setRetainSizeWhenHidden(true); // what is between the buttons stays in the middle
    back->setSizePolicy(policy);
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(margin, margin, margin, margin - 8);
    column->setSpacing(12);
    column->addWidget(title);
    column->addWidget(text);
    column->addWidget(contents, 1);
    column->addLayout(buttons);
    connect(back, &QPushButton::clicked, this, [this] { goTo(current - 1); });
    connect(next, &QPushButton::clicked, this, [this] { goTo(current + 1); });
    addSteps();
    showStep();
    resize(usualSize);
}

void OnboardingWindow::addSteps() {
    add({"Hello, I’m Tavik", "A voice assistant for your desktop. Say “Hey Vessa”, say what you "
                             "want, and hear the answer. What you say is recognised on this "
                             "computer. A few short steps, and we can talk."},
        picture(TavikPhase::Kind::listening));
    add({"Permissions", "What Tavik needs from your desktop, and why."},
        new PermissionsStep(services));
    add({"Your microphone", "Say something: the bar should follow your voice."},
        atTheTop(inSection(new MicrophonePicker(services))));
    addBrainStep();
    add({"Your assistant’s voice", "Pick the one you would like to listen to."},
        filling(inSection(new VoicePicker(services))));
    tryOut = new TryOutStep(services);
    add({"Try it", "Tavik is listening now, with the wake phrase."}, tryOut);
    add({"All set", "Tavik waits in the tray and answers to “Hey Vessa” and to your keyboard "
                    "shortcut. Start it again whenever you want to see its settings."},
        picture(TavikPhase::Kind::speaking));
}

void OnboardingWindow::addBrainStep() {
    auto* content = new QWidget;
    auto* column = new QVBoxLayout(content);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(14);
    auto* brain = new BrainForm(services);
    key = new KeyForm(services);
    column->addWidget(brain);
    column->addWidget(inSection(key));
    column->addStretch(1);
    key->onChange = [this] { showStep(); };
    brain->onChange = [this, brain] { key->use(brain->provider(), brain->model()); };
    add({"Your assistant’s brain", "Choose who answers, and paste your own key. It is kept in your "
                                   "desktop’s keyring and sent only to that provider."},
        content);
    key->use(brain->provider(), brain->model());
}

void OnboardingWindow::add(const Step& step, QWidget* content) {
    steps.push_back(step);
    contents->addWidget(scrolling(content));
}

void OnboardingWindow::goTo(int step) {
    if (step >= stepCount()) {
        finish();
        return;
    }
    current = step;
    showStep();
}

void OnboardingWindow::showStep() {
    const Step& step = steps[static_cast<std::size_t>(current)];
    const bool isLast = current == stepCount() - 1;
    const bool asksForKey = key && contents->widget(current)->isAncestorOf(key);
    contents->setCurrentIndex(current);
    title->setText(step.title);
    text->setText(step.text);
    back->setVisible(current > 0);
    progress->setText(QString("%1 of %2").arg(current + 1).arg(stepCount()));
    next->setText(isLast                         ? "Done"
                  : current == 0                 ? "Get Started"
                  : asksForKey && !key->hasKey() ? "Skip for Now"
                                                 : "Continue");
}

void OnboardingWindow::showPhase() {
    tryOut->showPhase();
}

void OnboardingWindow::finish() {
    store(services.state.defaults(), "onboardingDone", true);
    close();
    if (services.state.listening() == AppState::Listening::off)
        services.state.startListening();
    else
        services.state.startIfPossible();
}

void OnboardingWindow::closeEvent(QCloseEvent* event) {
    if (!services.state.defaults().boolean("onboardingDone").value_or(false))
        services.state.stopListening();
    current = 0;
    QWidget::closeEvent(event);
}

} // namespace tavik
