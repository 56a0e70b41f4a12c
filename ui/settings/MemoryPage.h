#pragma once

#include "memory/Records.h"
#include "ui/Background.h"
#include "ui/UiServices.h"
#include "ui/settings/ConversationList.h"
#include "ui/widgets/Section.h"

#include <QLineEdit>
#include <QListView>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTimer>
#include <vector>

namespace tavik {

// What is remembered: whether it is, the conversations, what was said in one, and the end of it
// all.
class MemoryPage : public Page {
public:
    explicit MemoryPage(UiServices& services);

    // To be called when the page is opened.
    void refresh();

private:
    void build();
    void fill(const std::vector<ConversationHistoryEntry>& found);
    void showTurns();
    void clearAll();
    void preferenceChanged();

    UiServices& services;
    QLineEdit* search = nullptr;
    ConversationList conversations;
    QListView* list = nullptr;
    QLabel* state = nullptr;
    QPlainTextEdit* turns = nullptr;
    QPushButton* clear = nullptr;
    QTimer typing; // a search begins when the typing rests
    Background turnReading;
    Background changes;
    Background background; // last: its jobs use the above
};

} // namespace tavik
