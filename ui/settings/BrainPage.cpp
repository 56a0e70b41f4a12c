#include "ui/settings/BrainPage.h"

#include "app/AppState.h"
#include "platform/defaults/UserDefaults.h"
#include "ui/PhaseText.h"
#include "ui/widgets/BrainForm.h"
#include "ui/widgets/KeyForm.h"

#include <QComboBox>

namespace tavik {

namespace {

void showVerbosity(QComboBox& box, UserDefaults& defaults) {
    const QString stored = qt(defaults.string("verbosity").value_or("concise"));
    box.setCurrentIndex(std::max(0, box.findData(stored)));
}

QComboBox* verbosityChoice(UserDefaults& defaults) {
    auto* box = new QComboBox;
    box->addItem("Concise", "concise");
    box->addItem("Normal", "normal");
    box->addItem("Detailed", "detailed");
    showVerbosity(*box, defaults);
    QObject::connect(box, &QComboBox::activated, box, [box, &defaults] {
        store(defaults, "verbosity", box->currentData().toString().toStdString());
    });
    return box;
}

} // namespace

BrainPage::BrainPage(UiServices& services)
    : Page("Brain") {
    auto* brain = new BrainForm(services);
    auto* key = new KeyForm(services);
    key->use(brain->provider(), brain->model());
    brain->onChange = [=] { key->use(brain->provider(), brain->model()); };
    widget()->layout()->addWidget(brain);
    addSection("API key")->add(key);
    Section* answers = addSection("Answers");
    UserDefaults& defaults = services.state.defaults();
    QComboBox* verbosity = verbosityChoice(defaults);
    answers->addRow("Length", verbosity);
    follow([brain, verbosity, &defaults] {
        brain->showSettings();
        showVerbosity(*verbosity, defaults);
    });
    finish();
}

} // namespace tavik
