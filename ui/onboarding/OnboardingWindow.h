#pragma once

#include "ui/UiServices.h"

#include <QLabel>
#include <QPushButton>
#include <QStackedWidget>
#include <QWidget>
#include <vector>

namespace tavik {

class KeyForm;
class TryOutStep;

// The first steps, from nothing to a first spoken answer. Once through, "onboardingDone" is set and
// Tavik listens; closed before, it listens no more and the steps come again.
class OnboardingWindow : public QWidget {
public:
    explicit OnboardingWindow(UiServices& services);

    // To be called when the phase has changed.
    void showPhase();
    void goTo(int step);
    int stepCount() const { return static_cast<int>(steps.size()); }

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    struct Step {
        QString title;
        QString text;
    };

    void addSteps();
    void add(const Step& step, QWidget* content);
    void addBrainStep();
    void showStep();
    void finish();

    UiServices& services;
    std::vector<Step> steps;
    int current = 0;
    QLabel* progress;
    QLabel* title;
    QLabel* text;
    QStackedWidget* contents;
    QPushButton* back;
    QPushButton* next;
    KeyForm* key = nullptr;
    TryOutStep* tryOut = nullptr;
};

} // namespace tavik
