#pragma once

#include <QCheckBox>
#include <QComboBox>
#include <QFrame>
#include <QLabel>
#include <QScrollArea>
#include <QVBoxLayout>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace tavik {

class UserDefaults;

// A card with a heading and rows of controls.
class Section : public QFrame {
public:
    explicit Section(const QString& heading = {});

    // A control beside its label, which screen readers read with it.
    void addRow(const QString& label, QWidget* control);
    void add(QWidget* widget) { rows->addWidget(widget); }
    void add(QLayout* layout) { rows->addLayout(layout); }
    // Dimmed, wrapped text.
    QLabel* addHelp(const QString& text);

private:
    QVBoxLayout* rows;
};

// A page of sections that scrolls when the window is small.
class Page : public QScrollArea {
public:
    explicit Page(const QString& title);

    Section* addSection(const QString& heading = {});
    // A switch that shows a boolean and stores it at once.
    QCheckBox* makeSwitch(const QString& text, UserDefaults& defaults, const std::string& key,
                          bool byDefault);
    // Has `show` run again whenever the settings may have changed elsewhere. It stores nothing.
    void follow(std::function<void()> show) { followers.push_back(std::move(show)); }
    void showSettings();
    // What is left of the height goes to the last section, or stays empty.
    void finish();

private:
    QVBoxLayout* sections;
    std::vector<std::function<void()>> followers;
};

QLabel* helpLabel(const QString& text);

// A choice that is no wider for long entries, which it shows shortened.
void keepNarrow(QComboBox& box);

// Stores a setting; when that fails, the user is told.
void store(UserDefaults& defaults, const std::string& key, const std::string& value);
void store(UserDefaults& defaults, const std::string& key, bool value);
void store(UserDefaults& defaults, const std::string& key, double value);

// Shows how something went, in green or in red.
enum class Outcome { neutral, good, bad };
void showOutcome(QLabel& label, const QString& text, Outcome outcome);

} // namespace tavik
