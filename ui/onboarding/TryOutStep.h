#pragma once

#include "ui/UiServices.h"

#include <QLabel>
#include <QPushButton>
#include <QWidget>

namespace tavik {

// Lets the user say the wake phrase for the first time, and shows what Tavik makes of it.
class TryOutStep : public QWidget {
public:
    explicit TryOutStep(UiServices& services);

    // To be called when the phase has changed.
    void showPhase();

protected:
    void showEvent(QShowEvent* event) override;

private:
    UiServices& services;
    QLabel* orb;
    QLabel* words;
    QLabel* outcome;
    QPushButton* retry;
    bool wasHeard = false;
};

} // namespace tavik
