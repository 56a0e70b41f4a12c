#include "ui/widgets/BrainForm.h"

#include "app/AppState.h"
#include "brains/BrainCatalogue.h"
#include "platform/defaults/UserDefaults.h"
#include "platform/text/Text.h"
#include "ui/PhaseText.h"
#include "ui/widgets/ModelChoices.h"
#include "ui/widgets/Section.h"

#include <QFormLayout>
#include <QLineEdit>
#include <QSignalBlocker>
#include <QVBoxLayout>

namespace tavik {

namespace {

constexpr const char* effortText = "Effort applies to answers, tool use, and web search. Changes "
                                   "apply from the next conversation.";
constexpr const char* fixedEffort = "Fixed by this model";
constexpr const char* fixedEffortText =
    "This model does not expose an effort control. Your key is stored in Keychain and sent only to "
    "your selected provider to authenticate requests.";

void select(QComboBox& box, const std::string& value) {
    const int index = box.findData(qt(value));
    box.setCurrentIndex(index);
    if (index < 0 && box.isEditable())
        box.setEditText(qt(value));
}

void fill(QComboBox& box, const std::vector<Choice>& choices) {
    box.clear();
    for (const Choice& choice : choices)
        box.addItem(choice.label, qt(choice.value));
}

} // namespace

BrainForm::BrainForm(UiServices& uiServices)
    : services(uiServices)
    , providers(new QComboBox)
    , models(new QComboBox)
    , efforts(new QComboBox)
    , effortHelp(helpLabel({})) {
    auto* section = new Section("Model");
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->addWidget(section);
    section->addRow("Provider", providers);
    section->addRow("Model", models);
    section->addRow("Effort", efforts);
    section->add(effortHelp);
    for (QComboBox* box : {providers, models, efforts})
        keepNarrow(*box);
    models->setEditable(true);
    models->setInsertPolicy(QComboBox::NoInsert);
    models->lineEdit()->setAccessibleName("Model");
    fill(*providers, providerChoices());
    select(*providers, storedProvider());
    fillModels();
    connect(providers, &QComboBox::activated, this, &BrainForm::providerChosen);
    connect(models, &QComboBox::activated, this, &BrainForm::modelChosen);
    connect(models->lineEdit(), &QLineEdit::editingFinished, this, &BrainForm::modelChosen);
    connect(efforts, &QComboBox::activated, this, [this] {
        store(services.state.defaults(), "brainEffort",
              efforts->currentData().toString().toStdString());
    });
}

std::string BrainForm::storedProvider() const {
    return brainProvider(services.state.defaults().string("provider").value_or("")).word;
}

void BrainForm::showSettings() {
    const std::string before = model();
    const bool isOther = storedProvider() != provider();
    if (models->lineEdit()->hasFocus() && models->lineEdit()->isModified())
        return;
    select(*providers, storedProvider());
    fillModels();
    if (isOther || model() != before)
        onChange();
}

std::string BrainForm::provider() const {
    return providers->currentData().toString().toStdString();
}

// A choice shows its label; anything else was typed.
std::string BrainForm::typedModel() const {
    const QString shown = models->currentText().trimmed();
    const int index = models->findText(shown);
    return (index >= 0 ? models->itemData(index).toString() : shown).toStdString();
}

std::string BrainForm::model() const {
    const std::string typed = typedModel();
    return typed.empty() ? defaultBrainModel(provider()) : typed;
}

void BrainForm::fillModels() {
    const QSignalBlocker quiet(models);
    fill(*models, modelChoices(provider()));
    select(*models, trimmed(services.state.defaults().string("brainModel").value_or("")));
    fillEfforts();
}

void BrainForm::fillEfforts() {
    const QSignalBlocker quiet(efforts);
    efforts->clear();
    for (const auto& [id, label] : brainEffortOptions(provider(), model()))
        efforts->addItem(qt(label), qt(id));
    const bool isFixed = efforts->count() == 0;
    efforts->setEnabled(!isFixed);
    effortHelp->setText(isFixed ? fixedEffortText : effortText);
    if (isFixed)
        efforts->addItem(fixedEffort);
    const auto stored = services.state.defaults().string("brainEffort").value_or("low");
    efforts->setCurrentIndex(std::max(0, efforts->findData(qt(stored))));
}

// A model of the one provider is none of the other's.
void BrainForm::providerChosen() {
    store(services.state.defaults(), "provider", provider());
    store(services.state.defaults(), "brainModel", std::string());
    fillModels();
    onChange();
}

void BrainForm::modelChosen() {
    UserDefaults& defaults = services.state.defaults();
    if (typedModel() == defaults.string("brainModel").value_or(""))
        return;
    store(defaults, "brainModel", typedModel());
    fillEfforts();
    onChange();
}

} // namespace tavik
