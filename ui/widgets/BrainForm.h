#pragma once

#include "ui/UiServices.h"

#include <QComboBox>
#include <QLabel>
#include <QWidget>
#include <functional>
#include <string>

namespace tavik {

// Chooses the provider, its model and the effort, and stores each choice at once.
class BrainForm : public QWidget {
public:
    explicit BrainForm(UiServices& services);

    std::string provider() const;
    // Never empty: the default's name when none is chosen.
    std::string model() const;
    std::function<void()> onChange = [] {};
    // Shows what the settings hold now, unless a model is being typed.
    void showSettings();

private:
    std::string storedProvider() const;
    void fillModels();
    void fillEfforts();
    void providerChosen();
    void modelChosen();
    std::string typedModel() const;

    UiServices& services;
    QComboBox* providers;
    QComboBox* models;
    QComboBox* efforts;
    QLabel* effortHelp;
};

} // namespace tavik
