#include "ui/widgets/Section.h"

#include "platform/defaults/UserDefaults.h"

#include <QAbstractItemView>
#include <QApplication>
#include <QHBoxLayout>
#include <QMessageBox>
#include <QStyle>

namespace tavik {

namespace {

constexpr int cardMargin = 16;
constexpr int pageMargin = 24;
constexpr int gap = 12;
constexpr int labelWidth = 128;

template<typename Value>
void storeOrTell(UserDefaults& defaults, const std::string& key, const Value& value) {
    try {
        defaults.set(key, value);
    } catch (const std::exception& error) {
        QMessageBox::warning(QApplication::activeWindow(), "Tavik",
                             QString("The setting cannot be saved: %1").arg(error.what()));
    }
}

} // namespace

Section::Section(const QString& heading)
    : rows(new QVBoxLayout(this)) {
    setObjectName("card");
    rows->setContentsMargins(cardMargin, cardMargin, cardMargin, cardMargin);
    rows->setSpacing(gap);
    if (heading.isEmpty())
        return;
    auto* label = new QLabel(heading);
    label->setObjectName("heading");
    rows->addWidget(label);
}

void Section::addRow(const QString& label, QWidget* control) {
    auto* name = new QLabel(label);
    name->setBuddy(control);
    name->setMinimumWidth(labelWidth);
    control->setAccessibleName(label);
    auto* row = new QHBoxLayout;
    row->addWidget(name);
    row->addWidget(control, 1);
    rows->addLayout(row);
}

QLabel* Section::addHelp(const QString& text) {
    QLabel* label = helpLabel(text);
    rows->addWidget(label);
    return label;
}

Page::Page(const QString& title)
    : sections(nullptr) {
    auto* content = new QWidget;
    content->setObjectName("page");
    sections = new QVBoxLayout(content);
    sections->setContentsMargins(pageMargin, pageMargin, pageMargin, pageMargin);
    sections->setSpacing(gap + 2);
    auto* label = new QLabel(title);
    label->setObjectName("title");
    sections->addWidget(label);
    setWidget(content);
    setWidgetResizable(true);
    setFrameShape(QFrame::NoFrame);
    setFocusPolicy(Qt::NoFocus);
    setAccessibleName(title);
}

Section* Page::addSection(const QString& heading) {
    auto* section = new Section(heading);
    sections->addWidget(section);
    return section;
}

void Page::finish() {
    sections->addStretch(1);
}

QCheckBox* Page::makeSwitch(const QString& text, UserDefaults& defaults, const std::string& key,
                            bool byDefault) {
    auto* box = new QCheckBox(text);
    const auto stored = [&defaults, key, byDefault] {
        return defaults.boolean(key).value_or(byDefault);
    };
    box->setChecked(stored());
    follow([box, stored] { box->setChecked(stored()); });
    connect(box, &QCheckBox::toggled, box, [&defaults, key, stored](bool isOn) {
        if (isOn != stored())
            store(defaults, key, isOn);
    });
    return box;
}

void Page::showSettings() {
    for (const auto& show : followers)
        show();
}

QLabel* helpLabel(const QString& text) {
    auto* label = new QLabel(text);
    label->setObjectName("help");
    label->setWordWrap(true);
    label->setTextFormat(Qt::PlainText);
    return label;
}

void keepNarrow(QComboBox& box) {
    box.setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    box.view()->setTextElideMode(Qt::ElideRight);
}

void store(UserDefaults& defaults, const std::string& key, const std::string& value) {
    storeOrTell(defaults, key, value);
}

void store(UserDefaults& defaults, const std::string& key, bool value) {
    storeOrTell(defaults, key, value);
}

void store(UserDefaults& defaults, const std::string& key, double value) {
    storeOrTell(defaults, key, value);
}

void showOutcome(QLabel& label, const QString& text, Outcome outcome) {
    label.setObjectName(outcome == Outcome::good  ? "good"
                        : outcome == Outcome::bad ? "bad"
                                                  : "help");
    label.setText(text);
    label.setVisible(!text.isEmpty());
    label.style()->unpolish(&label);
    label.style()->polish(&label);
}

} // namespace tavik
