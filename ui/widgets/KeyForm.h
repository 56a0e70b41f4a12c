#pragma once

#include "ui/Background.h"
#include "ui/UiServices.h"

#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QWidget>
#include <functional>

namespace tavik {

// Takes a provider's key, tries it, and stores it in the keyring. A stored key is never shown.
class KeyForm : public QWidget {
public:
    explicit KeyForm(UiServices& services);

    // To be called first, and whenever the user chose another provider or model. `model` is never
    // empty.
    void use(const std::string& provider, const std::string& model);

    bool hasKey() const { return isKeyKnown; }
    std::function<void()> onChange = [] {}; // whether there is a key

private:
    struct Result {
        QString text;
        bool isGood = false;
        bool isStored = false;
    };

    void build();
    void lookForKey();
    void check();
    void storeUnchecked();
    void remove();
    void start(const QString& text, std::function<Result(std::stop_token)> work);
    void finished(const Result& result);
    void showWhetherKeyIsKnown(bool isKnown);

    UiServices& services;
    std::string provider;
    std::string model;
    bool isKeyKnown = false;
    QLineEdit* field = nullptr;
    QLabel* state = nullptr;
    QLabel* outcome = nullptr;
    QLabel* link = nullptr;
    QPushButton* checkButton = nullptr;
    QPushButton* storeButton = nullptr;
    QPushButton* removeButton = nullptr;
    Background lookUps;
    Background background; // last: its jobs use the above
};

} // namespace tavik
