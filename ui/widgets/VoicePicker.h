#pragma once

#include "platform/speech/SpeechOutput.h"
#include "ui/Background.h"
#include "ui/UiServices.h"
#include "voice/VoicePreviewer.h"

#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QTimer>
#include <QWidget>
#include <vector>

namespace tavik {

// Chooses the voice of the answers among the installed ones, each of which can be heard.
class VoicePicker : public QWidget {
public:
    explicit VoicePicker(UiServices& services);

    // Shows the voice that the settings hold now.
    void showSettings();

protected:
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    void build();
    void refresh();
    void fill(const std::vector<Voice>& installed);
    void filter();
    void selectStored();
    void choose();
    void preview();
    void showPreview();
    const Voice* selected() const;

    UiServices& services;
    QLineEdit* search = nullptr;
    QListWidget* list = nullptr;
    QPushButton* previewButton = nullptr;
    QLabel* problem = nullptr;
    std::vector<Voice> voices;
    QTimer refreshing;
    VoicePreviewer previewer;
    Background background; // last: its jobs use the above
};

} // namespace tavik
