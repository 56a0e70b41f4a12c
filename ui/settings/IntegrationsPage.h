#pragma once

#include "ui/UiServices.h"
#include "ui/widgets/Section.h"

#include <QPushButton>
#include <QTimer>

namespace tavik {

// Lets external agents in, and shows what they need to know.
class IntegrationsPage : public Page {
public:
    explicit IntegrationsPage(UiServices& services);

private:
    void showWhetherAllowed(bool isAllowed);
    void copy();
    void showCopy(bool isDone);

    QLabel* meaning = nullptr;
    QPushButton* copyButton = nullptr;
    QTimer copied;
};

} // namespace tavik
