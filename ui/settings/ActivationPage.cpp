#include "ui/settings/ActivationPage.h"

#include "app/AppState.h"
#include "app/Autostart.h"
#include "platform/defaults/UserDefaults.h"
#include "platform/desktop/DisplayCheck.h"
#include "ui/PhaseText.h"
#include "ui/settings/HotkeyRecorder.h"
#include "voice/WakeDetector.h"

#include <QHBoxLayout>
#include <QMessageBox>
#include <QSlider>
#include <utility>

namespace tavik {

namespace {

constexpr int lenient = 30; // hundredths
constexpr int strict = 95;
constexpr const char* wakeHelp =
    "How closely what you say has to match “Hey Vessa” to wake Tavik. Lenient catches quiet or "
    "distant speech but wakes more often by accident; strict needs a clearer match. Detection runs "
    "fully on-device at negligible idle cost, and this takes effect immediately. Custom wake "
    "phrases are coming in a later update.";
constexpr const char* shortcutHelp =
    "Starts a conversation from anywhere, and interrupts an answer. Press the button, then the "
    "keys; Escape leaves the shortcut as it is.";
constexpr const char* waylandNote =
    "This is a Wayland session, where a program can have a shortcut only while one of X11's "
    "windows is in front. Set a shortcut in your desktop's own settings instead.";
constexpr const char* noDisplayNote = "This desktop offers no shortcuts that work everywhere.";
constexpr const char* waitingNote = "Waiting for your desktop, which asks you about the shortcut.";
constexpr const char* askingNote =
    "Your desktop asks you before Tavik has a shortcut, and you may choose other keys there.";

// What the desktop makes of the shortcut; empty for nothing worth telling.
QString noteOn(const HotkeyManager& hotkey) {
    if (!hotkey.isAvailable())
        return noDisplayNote;
    if (hotkey.awaitsTheUser())
        return waitingNote;
    if (!hotkey.asksTheUser())
        return isWaylandSession() ? waylandNote : "";
    return hotkey.keysOfDesktop().empty()
               ? QString(askingNote)
               : QString("On your desktop the keys are %1.").arg(qt(hotkey.keysOfDesktop()));
}

int storedThreshold(UserDefaults& defaults) {
    return qRound(wakeThreshold(defaults) * 100);
}

QSlider* wakeSlider(UserDefaults& defaults) {
    auto* slider = new QSlider(Qt::Horizontal);
    slider->setRange(lenient, strict);
    slider->setSingleStep(1);
    slider->setPageStep(5);
    slider->setValue(storedThreshold(defaults));
    QObject::connect(slider, &QSlider::valueChanged, slider, [&defaults](int hundredths) {
        if (hundredths != storedThreshold(defaults))
            store(defaults, "wakeThreshold", hundredths / 100.0);
    });
    return slider;
}

// Under the slider: each where it belongs, the usual value in the middle.
QLayout* captions() {
    auto* row = new QHBoxLayout;
    row->addWidget(helpLabel("Lenient"), 1, Qt::AlignLeft);
    row->addWidget(helpLabel("Normal"), 1, Qt::AlignHCenter);
    row->addWidget(helpLabel("Strict"), 1, Qt::AlignRight);
    return row;
}

} // namespace

ActivationPage::ActivationPage(UiServices& uiServices)
    : Page("Activation")
    , services(uiServices) {
    addWakePhrase();
    addShortcut();
    addStart();
    finish();
}

ActivationPage::~ActivationPage() {
    services.state.hotkey().onChange([](const std::string&) {});
}

void ActivationPage::addWakePhrase() {
    UserDefaults& defaults = services.state.defaults();
    Section* section = addSection("Wake phrase");
    section->add(makeSwitch("Listen for “Hey Vessa”", defaults, "wakeEnabled", true));
    auto* name = new QLabel("Wake sensitivity");
    QSlider* slider = wakeSlider(defaults);
    slider->setAccessibleName("Wake sensitivity");
    follow([slider, &defaults] { slider->setValue(storedThreshold(defaults)); });
    name->setBuddy(slider);
    section->add(name);
    section->add(slider);
    section->add(captions());
    section->addHelp(wakeHelp);
}

void ActivationPage::addShortcut() {
    AppState& state = services.state;
    Section* section = addSection("Keyboard shortcut");
    QCheckBox* wanted =
        makeSwitch("Start with a keyboard shortcut", state.defaults(), "hotkeyEnabled", true);
    recorder = new HotkeyRecorder(state);
    section->add(wanted);
    section->addRow("Shortcut", recorder);
    refused = section->addHelp("");
    note = section->addHelp("");
    section->addHelp(shortcutHelp);
    connect(wanted, &QCheckBox::toggled, this, &ActivationPage::switchShortcut);
    state.hotkey().onChange([this](const std::string& refusal) {
        showRefusal(refusal);
        showShortcut();
    });
    follow([this] { applyShortcut(); });
    applied = state.hotkey().wantedCombo();
    refresh();
}

// The one that is switched off because it was refused keeps its sentence.
void ActivationPage::switchShortcut(bool isOn) {
    if (isOn)
        showRefusal("");
    services.state.hotkey().applyFromDefaults();
    showShortcut();
}

// Only another shortcut than before, so that one that cannot be had is tried once.
void ActivationPage::applyShortcut() {
    HotkeyManager& hotkey = services.state.hotkey();
    const auto before = std::exchange(applied, hotkey.wantedCombo());
    if (applied != before)
        hotkey.applyFromDefaults();
    showShortcut();
}

void ActivationPage::showShortcut() {
    showOutcome(*note, noteOn(services.state.hotkey()), Outcome::neutral);
    recorder->showShortcut();
}

void ActivationPage::showRefusal(const std::string& sentence) {
    showOutcome(*refused, qt(sentence), Outcome::bad);
}

void ActivationPage::addStart() {
    Section* section = addSection("Start");
    auto* box = new QCheckBox("Start Tavik when I log in");
    box->setChecked(Autostart::isOn());
    connect(box, &QCheckBox::toggled, this, [this](bool isOn) {
        try {
            Autostart::switchTo(isOn);
        } catch (const std::exception& error) {
            QMessageBox::warning(this, "Tavik",
                                 QString("That cannot be saved: %1").arg(error.what()));
        }
    });
    section->add(box);
}

void ActivationPage::refresh() {
    showRefusal("");
    showShortcut();
}

} // namespace tavik
