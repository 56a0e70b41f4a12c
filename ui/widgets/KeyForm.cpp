#include "ui/widgets/KeyForm.h"

#include "brains/Brain.h"
#include "brains/BrainCatalogue.h"
#include "brains/BrainKey.h"
#include "brains/Keychain.h"
#include "ui/PhaseText.h"
#include "ui/widgets/ModelChoices.h"
#include "ui/widgets/Section.h"

#include <QHBoxLayout>
#include <QVBoxLayout>

namespace tavik {

namespace {

constexpr const char* checking = "Checking connection…";
constexpr const char* checked = "Key and model checked. Your provider checks billing and usage "
                                "limits when you ask for an answer.";
constexpr const char* notStored =
    "The key works, but the desktop's keyring did not take it. Unlock the keyring and try again.";
constexpr const char* noKeyring =
    "The desktop's keyring did not take the key. Unlock the keyring and try again.";
constexpr int longestKey = 4096;

} // namespace

KeyForm::KeyForm(UiServices& uiServices)
    : services(uiServices) {
    build();
    connect(checkButton, &QPushButton::clicked, this, &KeyForm::check);
    connect(storeButton, &QPushButton::clicked, this, &KeyForm::storeUnchecked);
    connect(removeButton, &QPushButton::clicked, this, &KeyForm::remove);
    connect(field, &QLineEdit::returnPressed, this, &KeyForm::check);
    connect(field, &QLineEdit::textEdited, this, [this] { storeButton->hide(); });
}

void KeyForm::build() {
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    state = helpLabel({});
    field = new QLineEdit;
    field->setEchoMode(QLineEdit::Password);
    field->setMaxLength(longestKey);
    field->setAccessibleName("API key");
    outcome = helpLabel({});
    outcome->hide();
    link = helpLabel({});
    link->setTextFormat(Qt::RichText);
    link->setOpenExternalLinks(true);
    link->setTextInteractionFlags(Qt::TextBrowserInteraction);
    link->setAccessibleName("Where to get a key");
    checkButton = new QPushButton("Check and Save");
    storeButton = new QPushButton("Save Anyway");
    removeButton = new QPushButton("Remove Key");
    storeButton->hide();
    auto* buttons = new QHBoxLayout;
    for (QPushButton* button : {checkButton, storeButton, removeButton})
        buttons->addWidget(button);
    buttons->addStretch(1);
    for (QWidget* widget : {static_cast<QWidget*>(state), static_cast<QWidget*>(field)})
        column->addWidget(widget);
    column->addLayout(buttons);
    column->addWidget(outcome);
    column->addWidget(link);
}

void KeyForm::use(const std::string& chosenProvider, const std::string& chosenModel) {
    const bool isOther = chosenProvider != provider;
    provider = chosenProvider;
    model = chosenModel;
    background.forget();
    checkButton->setEnabled(true);
    showOutcome(*outcome, "", Outcome::neutral);
    if (!isOther)
        return;
    field->clear();
    storeButton->hide();
    link->setText(
        QString("<a href=\"%1\">Get a key from your provider</a>").arg(keyPage(provider)));
    lookForKey();
}

void KeyForm::lookForKey() {
    showWhetherKeyIsKnown(false);
    const auto look = [this, asked = brainProvider(provider)](std::stop_token stop) {
        return brainKey(asked.word, asked.keyEnvironment, std::move(stop), services.keychain)
            .has_value();
    };
    lookUps.ask(look, [this](bool isKnown) { showWhetherKeyIsKnown(isKnown); });
}

void KeyForm::showWhetherKeyIsKnown(bool isKnown) {
    isKeyKnown = isKnown;
    state->setText(isKnown ? "A key is saved. It is not shown again; paste another to replace it."
                           : "Add an AI provider key so Tavik has a brain to answer with.");
    field->setPlaceholderText(isKnown ? "••••••••••••" : "Paste your API key");
    checkButton->setText(isKnown ? "Check" : "Check and Save");
    removeButton->setVisible(isKnown);
    onChange();
}

void KeyForm::check() {
    const std::string typed = field->text().trimmed().toStdString();
    start(checking,
          [this, typed, asked = brainProvider(provider),
           wanted = model](std::stop_token stop) -> Result {
              try {
                  const std::string key = typed.empty() ? brainKey(asked.word, asked.keyEnvironment,
                                                                   stop, services.keychain)
                                                              .value_or("")
                                                        : typed;
                  services.checkConnection(asked.word, key, wanted, stop);
              } catch (const BrainError& error) {
                  return {qt(error.what()), false, false};
              }
              if (typed.empty() || services.keychain.set(typed, asked.word, stop))
                  return {checked, true, !typed.empty()};
              return {notStored, false, false};
          });
}

void KeyForm::storeUnchecked() {
    const std::string typed = field->text().trimmed().toStdString();
    start("Saving…", [this, typed, word = provider](std::stop_token stop) -> Result {
        if (services.keychain.set(typed, word, std::move(stop)))
            return {"Saved without a check.", true, true};
        return {noKeyring, false, false};
    });
}

void KeyForm::start(const QString& text, std::function<Result(std::stop_token)> work) {
    checkButton->setEnabled(false);
    showOutcome(*outcome, text, Outcome::neutral);
    background.ask(std::move(work), [this](const Result& result) { finished(result); });
}

void KeyForm::finished(const Result& result) {
    checkButton->setEnabled(true);
    if (result.isStored) {
        field->clear();
        showWhetherKeyIsKnown(true);
    }
    storeButton->setVisible(!result.isGood && !field->text().trimmed().isEmpty());
    showOutcome(*outcome, result.text, result.isGood ? Outcome::good : Outcome::bad);
}

void KeyForm::remove() {
    const auto work = [this, word = provider](std::stop_token stop) {
        services.keychain.remove(word, std::move(stop));
        return true;
    };
    background.ask(work, [this](bool) {
        showOutcome(*outcome, "The key is removed from the keyring.", Outcome::neutral);
        lookForKey();
    });
}

} // namespace tavik
